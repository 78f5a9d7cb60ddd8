// `orv-host serve`: the modelling server. Loads a model file and the plug-in
// once and answers the browser client's HTTP requests by running the
// plug-in's agents through the host's call service.
#ifndef TOOLS_SERVE_SERVE_H_
#define TOOLS_SERVE_SERVE_H_

namespace orvtool {

// Runs the server with the arguments that follow "serve" (argv[0] is
// "serve"); returns when SIGINT or SIGTERM stops it, after the plug-in is
// unloaded and the model freed. Exit status: 0 stopped by a signal; 1 usage;
// 2 the model, the plug-in or the web directory could not be loaded, or the
// address could not be bound; 6 serve is not built into this program.
int RunServe(int argc, char** argv);

}  // namespace orvtool

#endif  // TOOLS_SERVE_SERVE_H_

// The text of a parameter given on the command line.
//
// A diagram's client JSON is easily larger than a command line may be, so a
// parameter can name where its text comes from instead of holding it:
//   @PATH   the bytes of the file PATH
//   @-      the bytes of standard input (once per call)
//   @@...   the text after the first "@" (a literal leading "@")
// Any other argument is the text itself.
#ifndef TOOLS_ORV_HOST_PARAMETERTEXT_H_
#define TOOLS_ORV_HOST_PARAMETERTEXT_H_

#include <string>

namespace orvtool {

// Reads the parameters' texts in order, one argument at a time.
class ParameterTextReader {
 public:
  // `inputFd` is the file descriptor read for "@-" (standard input: 0); the
  // reader does not close it.
  explicit ParameterTextReader(int inputFd) : inputFd_(inputFd) {}

  // Puts the text that `argument` stands for into `text`. False, with a
  // message that names the argument and the problem in `error`, when a
  // file cannot be read or "@-" comes a second time; `text` is then
  // unspecified.
  bool Read(const std::string& argument, std::string& text, std::string& error);

 private:
  int inputFd_;
  bool inputUsed_ = false;
};

}  // namespace orvtool

#endif  // TOOLS_ORV_HOST_PARAMETERTEXT_H_

// The client's JSON text of the current SVG annotation request, handed from
// GenerateSVGWithAnnotations to its customization agent. Exported by the plug-in.
#include <string>

__attribute__((visibility("default"))) std::string g_strJasonText;

// g_strJasonText: the client's JSON text of the current SVG annotation
// request. GenerateSVGWithAnnotations fills it, its customization agent reads
// it, and GenerateSVGWithAnnotations empties it before it returns, so that a
// text serves one request only. Made when the library is loaded, destroyed
// when it is unloaded; not locked (the host runs agents one at a time).
// C linkage gives the exported data symbol the plain name "g_strJasonText".
#ifndef JASONPARSER_JASONTEXT_H_
#define JASONPARSER_JASONTEXT_H_

#include <string>

extern "C" {
extern __attribute__((visibility("default"))) std::string g_strJasonText;
}

#endif  // JASONPARSER_JASONTEXT_H_

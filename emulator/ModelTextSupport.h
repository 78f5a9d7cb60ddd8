// Test support: writing model-file text in a test.
#ifndef EMULATOR_MODELTEXTSUPPORT_H_
#define EMULATOR_MODELTEXTSUPPORT_H_

#include <string>

namespace qmemu {

// `text` as a JSON string literal, quotes included, so that any bytes (quotes,
// backslashes, control characters) can be put into a model file verbatim.
inline std::string JsonString(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      const char* hex = "0123456789abcdef";
      out += "\\u00";
      out += hex[c >> 4];
      out += hex[c & 15];
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

}  // namespace qmemu

#endif  // EMULATOR_MODELTEXTSUPPORT_H_

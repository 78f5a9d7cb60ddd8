// The icon that the annotated SVG places on external references
// (xlink:href="ERIcon.gif"): a 16 x 16 GIF of a box with an arrow leaving
// it, drawn here and encoded by a small GIF writer.
#ifndef TOOLS_SERVE_ERICON_H_
#define TOOLS_SERVE_ERICON_H_

#include <cstdint>
#include <string>
#include <vector>

namespace orvtool {

// The icon's pixels: 16 rows of 16 characters, '.' transparent, '1' the
// outline, '2' the fill, '3' the arrow.
const std::vector<std::string>& ErIconPixels();

// The icon as GIF bytes (built once, then shared).
const std::string& ErIconGif();

// Encodes an image as a GIF89a: `rows` of equal length, each character an
// index into `palette` ('0' + index, or '.' for index 0), `palette` up to 4
// RGB colours (3 bytes each); index 0 is transparent when `transparent0`.
// Empty when the image or palette does not fit these rules.
std::string EncodeGif(const std::vector<std::string>& rows, const std::vector<std::uint8_t>& palette,
                      bool transparent0);

}  // namespace orvtool

#endif  // TOOLS_SERVE_ERICON_H_

#include "tools/serve/ErIcon.h"

#include <algorithm>

namespace orvtool {
namespace {

// Appends LZW codes least significant bit first, as GIF packs them.
class BitWriter {
 public:
  void Put(unsigned code, unsigned width) {
    for (unsigned i = 0; i < width; ++i) {
      if (bits_ == 0) bytes_.push_back(0);
      if ((code >> i) & 1u) bytes_.back() = static_cast<char>(bytes_.back() | (1 << bits_));
      bits_ = (bits_ + 1) % 8;
    }
  }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
  unsigned bits_ = 0;
};

void PutWord(std::string& out, unsigned value) {
  out.push_back(static_cast<char>(value & 0xff));
  out.push_back(static_cast<char>((value >> 8) & 0xff));
}

int PixelIndex(char c) { return c == '.' ? 0 : c - '0'; }

}  // namespace

const std::vector<std::string>& ErIconPixels() {
  static const std::vector<std::string> kPixels = {
      ".........3333333", ".........3333333", "............3333", "...........33.33",
      "..........33..33", "111111111331..33", "122222223321..33", "122222233221....",
      "122222332221....", "122223322221....", "122233222221....", "122222222221....",
      "122222222221....", "122222222221....", "122222222221....", "111111111111....",
  };
  return kPixels;
}

const std::string& ErIconGif() {
  static const std::string kGif = EncodeGif(ErIconPixels(),
                                            {0xff, 0xff, 0xff,    // transparent
                                             0x1f, 0x4e, 0x9a,    // outline
                                             0xdc, 0xe8, 0xf7,    // fill
                                             0xe0, 0x60, 0x0a},   // arrow
                                            true);
  return kGif;
}

std::string EncodeGif(const std::vector<std::string>& rows, const std::vector<std::uint8_t>& palette,
                      bool transparent0) {
  const std::size_t height = rows.size();
  const std::size_t width = height == 0 ? 0 : rows[0].size();
  if (width == 0 || width > 0xffff || height > 0xffff || palette.empty() || palette.size() > 12 ||
      palette.size() % 3 != 0) {
    return "";
  }
  const int colours = static_cast<int>(palette.size() / 3);
  for (const std::string& row : rows) {
    if (row.size() != width) return "";
    for (char c : row) {
      if (PixelIndex(c) < 0 || PixelIndex(c) >= colours) return "";
    }
  }
  std::string out = "GIF89a";
  PutWord(out, static_cast<unsigned>(width));
  PutWord(out, static_cast<unsigned>(height));
  out += '\xf1';  // a global colour table of 4 entries, 8 bits per primary
  out += '\0';    // background colour index
  out += '\0';    // square pixels
  for (int i = 0; i < 4 * 3; ++i) out += static_cast<char>(i < static_cast<int>(palette.size()) ? palette[i] : 0);
  if (transparent0) out += std::string("\x21\xf9\x04\x01\x00\x00\x00\x00", 8);  // index 0 transparent
  out += '\x2c';
  PutWord(out, 0);
  PutWord(out, 0);
  PutWord(out, static_cast<unsigned>(width));
  PutWord(out, static_cast<unsigned>(height));
  out += '\0';  // no local colour table, not interlaced

  // LZW without compression: every pixel is sent as its literal code, and a
  // clear code after every two keeps the decoder's table (and so the code
  // width of 3 bits) from growing.
  const unsigned kMinimumCodeSize = 2, kClear = 4, kEnd = 5, kWidth = 3;
  BitWriter bits;
  std::size_t sinceClear = 2;
  for (const std::string& row : rows) {
    for (char c : row) {
      if (sinceClear == 2) {
        bits.Put(kClear, kWidth);
        sinceClear = 0;
      }
      bits.Put(static_cast<unsigned>(PixelIndex(c)), kWidth);
      ++sinceClear;
    }
  }
  bits.Put(kEnd, kWidth);
  out += static_cast<char>(kMinimumCodeSize);
  const std::string& data = bits.bytes();
  for (std::size_t at = 0; at < data.size(); at += 255) {
    std::size_t n = std::min<std::size_t>(255, data.size() - at);
    out += static_cast<char>(n);
    out.append(data, at, n);
  }
  out += '\0';  // end of the image data
  out += '\x3b';
  return out;
}

}  // namespace orvtool

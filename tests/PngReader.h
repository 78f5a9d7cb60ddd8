// A small PNG reader for tests that look at rendered pictures: 8-bit RGB or
// RGBA, not interlaced (what rsvg-convert writes). It inflates the image data
// itself, so tests need no image library in any build (x86-64 or i386).
#ifndef TESTS_PNGREADER_H_
#define TESTS_PNGREADER_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace orvtest {

struct Rgb {
  int r, g, b;
};

// A decoded picture: `channels` bytes per pixel (3 or 4), rows top to bottom.
struct Picture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  int channels = 0;
  std::vector<std::uint8_t> pixels;

  // The colour at (x, y), composed over white when the picture has alpha.
  Rgb At(std::uint32_t x, std::uint32_t y) const {
    const std::uint8_t* p = &pixels[(static_cast<std::size_t>(y) * width + x) * static_cast<std::size_t>(channels)];
    if (channels == 3) return Rgb{p[0], p[1], p[2]};
    const int a = p[3];
    auto over = [a](int c) { return (c * a + 255 * (255 - a) + 127) / 255; };
    return Rgb{over(p[0]), over(p[1]), over(p[2])};
  }
};

namespace png_detail {

// Reads a deflate stream (RFC 1951) bit by bit.
class Inflater {
 public:
  Inflater(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  // Inflates the whole stream into `out`; false on malformed data.
  bool Run(std::vector<std::uint8_t>& out) {
    for (;;) {
      const int last = Bits(1);
      const int type = Bits(2);
      if (failed_) return false;
      if (type == 0) {
        if (!Stored(out)) return false;
      } else if (type == 1 || type == 2) {
        Huffman literal, distance;
        if (type == 1) {
          FixedTables(literal, distance);
        } else if (!DynamicTables(literal, distance)) {
          return false;
        }
        if (!Codes(literal, distance, out)) return false;
      } else {
        return false;
      }
      if (last) return !failed_;
    }
  }

 private:
  struct Huffman {
    std::vector<int> counts = std::vector<int>(16, 0);
    std::vector<int> symbols;
  };

  int Bits(int n) {
    int value = 0;
    for (int i = 0; i < n; ++i) {
      if (bitPos_ / 8 >= size_) {
        failed_ = true;
        return 0;
      }
      const int bit = (data_[bitPos_ / 8] >> (bitPos_ % 8)) & 1;
      value |= bit << i;
      ++bitPos_;
    }
    return value;
  }

  static void Build(Huffman& h, const int* lengths, int n) {
    h.counts.assign(16, 0);
    for (int i = 0; i < n; ++i) ++h.counts[lengths[i]];
    h.counts[0] = 0;
    std::vector<int> offsets(16, 0);
    for (int i = 1; i < 16; ++i) offsets[i] = offsets[i - 1] + h.counts[i - 1];
    h.symbols.assign(static_cast<std::size_t>(n), 0);
    for (int i = 0; i < n; ++i) {
      if (lengths[i] != 0) h.symbols[static_cast<std::size_t>(offsets[lengths[i]]++)] = i;
    }
  }

  int Decode(const Huffman& h) {
    int code = 0, first = 0, index = 0;
    for (int len = 1; len < 16; ++len) {
      code |= Bits(1);
      const int count = h.counts[len];
      if (code - count < first) return h.symbols[static_cast<std::size_t>(index + (code - first))];
      index += count;
      first += count;
      first <<= 1;
      code <<= 1;
      if (failed_) return -1;
    }
    failed_ = true;
    return -1;
  }

  bool Stored(std::vector<std::uint8_t>& out) {
    bitPos_ = (bitPos_ + 7) / 8 * 8;
    const std::size_t at = bitPos_ / 8;
    if (at + 4 > size_) return false;
    const std::size_t len = data_[at] | (data_[at + 1] << 8);
    if (at + 4 + len > size_) return false;
    out.insert(out.end(), data_ + at + 4, data_ + at + 4 + len);
    bitPos_ = (at + 4 + len) * 8;
    return true;
  }

  static void FixedTables(Huffman& literal, Huffman& distance) {
    int lengths[288];
    for (int i = 0; i < 144; ++i) lengths[i] = 8;
    for (int i = 144; i < 256; ++i) lengths[i] = 9;
    for (int i = 256; i < 280; ++i) lengths[i] = 7;
    for (int i = 280; i < 288; ++i) lengths[i] = 8;
    Build(literal, lengths, 288);
    for (int i = 0; i < 30; ++i) lengths[i] = 5;
    Build(distance, lengths, 30);
  }

  bool DynamicTables(Huffman& literal, Huffman& distance) {
    static const int order[19] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
    const int nlen = Bits(5) + 257, ndist = Bits(5) + 1, ncode = Bits(4) + 4;
    if (failed_ || nlen > 286 || ndist > 30) return false;
    int lengths[320] = {0};
    for (int i = 0; i < ncode; ++i) lengths[order[i]] = Bits(3);
    Huffman codes;
    Build(codes, lengths, 19);
    int index = 0;
    while (index < nlen + ndist) {
      int symbol = Decode(codes);
      if (symbol < 0) return false;
      if (symbol < 16) {
        lengths[index++] = symbol;
        continue;
      }
      int repeat = 0, value = 0;
      if (symbol == 16) {
        if (index == 0) return false;
        value = lengths[index - 1];
        repeat = 3 + Bits(2);
      } else if (symbol == 17) {
        repeat = 3 + Bits(3);
      } else {
        repeat = 11 + Bits(7);
      }
      if (index + repeat > nlen + ndist) return false;
      while (repeat-- > 0) lengths[index++] = value;
    }
    Build(literal, lengths, nlen);
    Build(distance, lengths + nlen, ndist);
    return !failed_;
  }

  bool Codes(const Huffman& literal, const Huffman& distance, std::vector<std::uint8_t>& out) {
    static const int lengthBase[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                                       31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
    static const int lengthExtra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                        2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
    static const int distBase[30] = {1,   2,   3,   4,   5,   7,    9,    13,   17,   25,   33,   49,   65,    97,    129,
                                     193, 257, 385, 513, 769, 1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
    static const int distExtra[30] = {0, 0, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6,
                                      6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};
    for (;;) {
      int symbol = Decode(literal);
      if (symbol < 0) return false;
      if (symbol < 256) {
        out.push_back(static_cast<std::uint8_t>(symbol));
        continue;
      }
      if (symbol == 256) return true;
      symbol -= 257;
      if (symbol >= 29) return false;
      const int length = lengthBase[symbol] + Bits(lengthExtra[symbol]);
      const int d = Decode(distance);
      if (d < 0 || d >= 30) return false;
      const std::size_t dist = static_cast<std::size_t>(distBase[d] + Bits(distExtra[d]));
      if (failed_ || dist > out.size()) return false;
      for (int i = 0; i < length; ++i) out.push_back(out[out.size() - dist]);
    }
  }

  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t bitPos_ = 0;
  bool failed_ = false;
};

inline std::uint32_t Be32(const std::uint8_t* p) {
  return (static_cast<std::uint32_t>(p[0]) << 24) | (static_cast<std::uint32_t>(p[1]) << 16) |
         (static_cast<std::uint32_t>(p[2]) << 8) | p[3];
}

inline int Paeth(int a, int b, int c) {
  const int p = a + b - c;
  const int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
  if (pa <= pb && pa <= pc) return a;
  return pb <= pc ? b : c;
}

}  // namespace png_detail

// Decodes the PNG file bytes `file` into `picture`. False, with a reason in
// `error`, for anything but an 8-bit RGB or RGBA picture without interlace,
// or for damaged data.
inline bool DecodePng(const std::string& file, Picture& picture, std::string& error) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(file.data());
  static const std::uint8_t signature[8] = {137, 80, 78, 71, 13, 10, 26, 10};
  if (file.size() < 8 || !std::equal(signature, signature + 8, bytes)) {
    error = "not a PNG file";
    return false;
  }
  std::vector<std::uint8_t> compressed;
  std::size_t at = 8;
  bool header = false;
  while (at + 12 <= file.size()) {
    const std::uint32_t length = png_detail::Be32(bytes + at);
    const std::string type(file, at + 4, 4);
    if (at + 12 + length > file.size()) break;
    const std::uint8_t* body = bytes + at + 8;
    if (type == "IHDR" && length >= 13) {
      picture.width = png_detail::Be32(body);
      picture.height = png_detail::Be32(body + 4);
      if (body[8] != 8 || (body[9] != 2 && body[9] != 6) || body[12] != 0) {
        error = "unsupported PNG kind";
        return false;
      }
      picture.channels = body[9] == 2 ? 3 : 4;
      header = true;
    } else if (type == "IDAT") {
      compressed.insert(compressed.end(), body, body + length);
    } else if (type == "IEND") {
      break;
    }
    at += 12 + length;
  }
  if (!header || compressed.size() < 2) {
    error = "no image header or data";
    return false;
  }
  std::vector<std::uint8_t> raw;
  png_detail::Inflater inflater(compressed.data() + 2, compressed.size() - 2);  // past the zlib header
  if (!inflater.Run(raw)) {
    error = "damaged image data";
    return false;
  }
  const std::size_t stride = static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.channels);
  if (raw.size() < (stride + 1) * picture.height) {
    error = "too little image data";
    return false;
  }
  picture.pixels.assign(stride * picture.height, 0);
  const int bpp = picture.channels;
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    const std::uint8_t filter = raw[y * (stride + 1)];
    const std::uint8_t* in = &raw[y * (stride + 1) + 1];
    std::uint8_t* row = &picture.pixels[y * stride];
    const std::uint8_t* up = y == 0 ? nullptr : &picture.pixels[(y - 1) * stride];
    for (std::size_t i = 0; i < stride; ++i) {
      const int a = i >= static_cast<std::size_t>(bpp) ? row[i - static_cast<std::size_t>(bpp)] : 0;
      const int b = up != nullptr ? up[i] : 0;
      const int c = up != nullptr && i >= static_cast<std::size_t>(bpp) ? up[i - static_cast<std::size_t>(bpp)] : 0;
      int value = in[i];
      switch (filter) {
        case 0: break;
        case 1: value += a; break;
        case 2: value += b; break;
        case 3: value += (a + b) / 2; break;
        case 4: value += png_detail::Paeth(a, b, c); break;
        default: error = "unknown row filter"; return false;
      }
      row[i] = static_cast<std::uint8_t>(value & 0xFF);
    }
  }
  return true;
}

}  // namespace orvtest

#endif  // TESTS_PNGREADER_H_

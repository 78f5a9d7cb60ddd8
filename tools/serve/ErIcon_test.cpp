// Tests of the GIF writer and the icon: the bytes are decoded again by an
// independent reader written from the GIF89a format.
#include "tools/serve/ErIcon.h"

#include <gtest/gtest.h>

#include <map>

namespace orvtool {
namespace {

// A minimal GIF reader: one image, a global colour table, no interlace.
// Returns the rows as index characters ('.' for 0, else '0' + index), or
// an empty vector when the bytes are no such GIF.
struct Decoded {
  unsigned width = 0, height = 0;
  std::vector<std::uint8_t> palette;
  bool transparent0 = false;
  std::vector<std::string> rows;
};

bool Decode(const std::string& gif, Decoded& out) {
  auto byte = [&](std::size_t i) -> unsigned { return i < gif.size() ? static_cast<unsigned char>(gif[i]) : 0; };
  auto word = [&](std::size_t i) { return byte(i) | (byte(i + 1) << 8); };
  if (gif.compare(0, 6, "GIF89a") != 0) return false;
  out.width = word(6);
  out.height = word(8);
  unsigned flags = byte(10);
  if (!(flags & 0x80)) return false;
  std::size_t colours = std::size_t{2} << (flags & 7);
  std::size_t at = 13;
  for (std::size_t i = 0; i < colours * 3; ++i) out.palette.push_back(static_cast<std::uint8_t>(byte(at + i)));
  at += colours * 3;
  if (byte(at) == 0x21 && byte(at + 1) == 0xf9) {
    out.transparent0 = (byte(at + 3) & 1) && byte(at + 6) == 0;
    at += 8;
  }
  if (byte(at) != 0x2c || word(at + 5) != out.width || word(at + 7) != out.height || byte(at + 9) != 0) return false;
  at += 10;
  const unsigned minimum = byte(at++);
  std::string data;
  while (at < gif.size() && byte(at) != 0) {
    std::size_t n = byte(at);
    data.append(gif, at + 1, n);
    at += n + 1;
  }
  if (byte(at) != 0 || byte(at + 1) != 0x3b || at + 2 != gif.size()) return false;

  // LZW as GIF uses it: variable width codes, least significant bit first.
  const unsigned clear = 1u << minimum, end = clear + 1;
  std::map<unsigned, std::string> table;
  unsigned width = minimum + 1, next = end + 1;
  std::string pixels, previous;
  std::size_t bit = 0;
  for (;;) {
    if (bit + width > data.size() * 8) return false;
    unsigned code = 0;
    for (unsigned i = 0; i < width; ++i, ++bit) {
      code |= ((static_cast<unsigned char>(data[bit / 8]) >> (bit % 8)) & 1u) << i;
    }
    if (code == clear) {
      table.clear();
      for (unsigned i = 0; i < clear; ++i) table[i] = std::string(1, static_cast<char>(i));
      width = minimum + 1;
      next = end + 1;
      previous.clear();
      continue;
    }
    if (code == end) break;
    std::string entry;
    if (table.count(code)) {
      entry = table[code];
    } else if (code == next && !previous.empty()) {
      entry = previous + previous[0];
    } else {
      return false;
    }
    pixels += entry;
    if (!previous.empty()) {
      table[next++] = previous + entry[0];
      if (next == (1u << width) && width < 12) ++width;
    }
    previous = entry;
  }
  if (pixels.size() != std::size_t{out.width} * out.height) return false;
  for (unsigned y = 0; y < out.height; ++y) {
    std::string row;
    for (unsigned x = 0; x < out.width; ++x) {
      int index = pixels[y * out.width + x];
      row += index == 0 ? '.' : static_cast<char>('0' + index);
    }
    out.rows.push_back(row);
  }
  return true;
}

TEST(ErIcon, IsASixteenBySixteenGifOfTheDrawing) {
  const std::string& gif = ErIconGif();
  EXPECT_EQ(gif.substr(0, 13), std::string("GIF89a\x10\x00\x10\x00\xf1\x00\x00", 13));
  Decoded decoded;
  ASSERT_TRUE(Decode(gif, decoded));
  EXPECT_EQ(decoded.width, 16u);
  EXPECT_EQ(decoded.height, 16u);
  EXPECT_TRUE(decoded.transparent0);
  EXPECT_EQ(decoded.rows, ErIconPixels());
  ASSERT_EQ(ErIconPixels().size(), 16u);
  for (const std::string& row : ErIconPixels()) EXPECT_EQ(row.size(), 16u);
  EXPECT_EQ(&ErIconGif(), &gif);  // built once
}

TEST(ErIcon, EncodesImagesOfAnySizeAndPalette) {
  struct Case {
    std::vector<std::string> rows;
    std::vector<std::uint8_t> palette;
  } cases[] = {
      {{"."}, {0, 0, 0}},
      {{"1.", ".1"}, {0, 0, 0, 255, 255, 255}},
      {{"123", "321", "...", "213"}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
      {{std::string(300, '2')}, {0, 0, 0, 9, 9, 9, 200, 100, 50}},  // more than one data sub-block
  };
  for (const Case& c : cases) {
    Decoded decoded;
    ASSERT_TRUE(Decode(EncodeGif(c.rows, c.palette, false), decoded)) << c.rows[0];
    EXPECT_EQ(decoded.rows, c.rows);
    EXPECT_FALSE(decoded.transparent0);
    std::vector<std::uint8_t> palette = c.palette;
    palette.resize(12, 0);
    EXPECT_EQ(decoded.palette, palette);
  }
}

TEST(ErIcon, RefusesWhatItCannotEncode) {
  const std::vector<std::uint8_t> two = {0, 0, 0, 1, 1, 1};
  EXPECT_EQ(EncodeGif({}, two, false), "");
  EXPECT_EQ(EncodeGif({""}, two, false), "");
  EXPECT_EQ(EncodeGif({"11", "1"}, two, false), "");   // ragged rows
  EXPECT_EQ(EncodeGif({"12"}, two, false), "");        // index beyond the palette
  EXPECT_EQ(EncodeGif({"1a"}, two, false), "");        // no index at all
  EXPECT_EQ(EncodeGif({"1"}, {0, 0}, false), "");      // a palette of partial colours
  EXPECT_EQ(EncodeGif({"1"}, {}, false), "");
  EXPECT_EQ(EncodeGif({"1"}, std::vector<std::uint8_t>(15, 0), false), "");  // five colours
}

}  // namespace
}  // namespace orvtool

// Fuzzes NormalizeJasonText.
//
// Checks: the result never contains "--"; it differs from the input only by
// hyphens rewritten as \u002D (removing every "\u002D" that replaced a hyphen
// gives the input back); and when the input scanned, the result scans too,
// to tokens of the same kinds and texts.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "JasonParser/JasonScanner.h"

namespace {

constexpr std::size_t kMaxInputSize = 64 * 1024;

// Scans `text`; returns whether it scanned and fills `tokens` with
// kind/text pairs.
bool ScanKindsAndTexts(std::string text, std::vector<std::pair<int, std::string>>& out) {
  std::vector<CJasonToken*> tokens;
  const bool ok = CJasonScanner().ScanJasonText(text, tokens);
  for (CJasonToken* token : tokens) {
    out.emplace_back(static_cast<int>(token->kind), token->text);
    delete token;
  }
  return ok;
}

// Undoes the rewrite: every "\u002D" followed by "-" or by another "\u002D"
// goes back to "-". Only such escapes can have come from the rewrite.
std::string Denormalize(const std::string& text, const std::string& original) {
  std::string out;
  std::size_t i = 0;
  std::size_t j = 0;  // position in `original`, to tell rewritten escapes from copied ones
  while (i < text.size()) {
    if (j < original.size() && original[j] == '-' && text.compare(i, 6, "\\u002D") == 0) {
      out += '-';
      i += 6;
    } else {
      out += text[i];
      ++i;
    }
    ++j;
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxInputSize) return 0;
  const std::string original(reinterpret_cast<const char*>(data), size);
  std::string text = original;
  NormalizeJasonText(text);

  if (text.find("--") != std::string::npos) std::abort();
  if (Denormalize(text, original) != original) std::abort();
  if (original.find("--") == std::string::npos && text != original) std::abort();

  std::vector<std::pair<int, std::string>> before;
  std::vector<std::pair<int, std::string>> after;
  if (ScanKindsAndTexts(original, before)) {
    if (!ScanKindsAndTexts(text, after)) std::abort();
    if (before != after) std::abort();
  }
  return 0;
}

#include "ControlInfoParser/CIScanner.h"

#include <limits>

#include "ControlInfoParser/CIMemory.h"

namespace {

// ASCII-only character classes: locale-independent and safe for bytes from
// 0x80 up, which are never letters or digits here.
bool IsAsciiLetter(unsigned char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsAsciiDigit(unsigned char c) { return c >= '0' && c <= '9'; }
bool IsIdentStart(unsigned char c) { return IsAsciiLetter(c) || c == '_'; }
bool IsIdentPart(unsigned char c) { return IsIdentStart(c) || IsAsciiDigit(c); }
bool IsBlank(unsigned char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

// Texts beyond this size cannot be addressed by a 32-bit position.
bool FitsPositions(const std::string& text) {
  return text.size() <= static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
}

// True when `pos` addresses a byte of `text`.
bool InText(const std::string& text, std::int32_t pos) {
  return pos >= 0 && static_cast<std::size_t>(pos) < text.size();
}

unsigned char ByteAt(const std::string& text, std::int32_t pos) {
  return static_cast<unsigned char>(text[static_cast<std::size_t>(pos)]);
}

// The byte that the escape "\<c>" stands for inside a string quoted with
// `quote`; false when the escape is not allowed there.
bool ResolveEscape(unsigned char c, unsigned char quote, char& resolved) {
  switch (c) {
    case '\\': resolved = '\\'; return true;
    case 'b': resolved = '\b'; return true;
    case 't': resolved = '\t'; return true;
    case 'n': resolved = '\n'; return true;
    case 'r': resolved = '\r'; return true;
    case 'f': resolved = '\f'; return true;
    default: break;
  }
  if (c == quote) {
    resolved = static_cast<char>(quote);
    return true;
  }
  return false;
}

// Appends the two-character delimiter at `pos` (its first byte already seen)
// if its second byte is `second`; false otherwise.
bool ScanPair(const std::string& text, std::int32_t& pos, char second, CCITokenKind kind,
              const char* spelling, std::vector<CCIToken>& tokens) {
  if (!InText(text, pos + 1) || text[static_cast<std::size_t>(pos) + 1] != second) return false;
  tokens.emplace_back(kind, spelling);
  pos += 2;
  return true;
}

// The operations below let an allocation failure through; the public
// functions turn it into their failure result.

bool ScanString(const std::string& text, std::string& out, std::int32_t& pos, char quote) {
  out.clear();
  const unsigned char q = static_cast<unsigned char>(quote);
  if (!FitsPositions(text) || !InText(text, pos) || ByteAt(text, pos) != q) return false;
  ++pos;
  while (InText(text, pos)) {
    const unsigned char c = ByteAt(text, pos);
    if (c == q) {
      ++pos;
      return true;
    }
    if (c != '\\') {
      out.push_back(static_cast<char>(c));
      ++pos;
      continue;
    }
    char resolved = 0;
    if (!InText(text, pos + 1) || !ResolveEscape(ByteAt(text, pos + 1), q, resolved)) return false;
    out.push_back(resolved);
    pos += 2;
  }
  return false;  // the text ended before the closing quote
}

bool ScanSimpleIdent(const std::string& text, std::string& out, std::int32_t& pos) {
  out.clear();
  if (!FitsPositions(text) || !InText(text, pos) || !IsIdentStart(ByteAt(text, pos))) return false;
  const std::int32_t start = pos;
  ++pos;
  while (InText(text, pos) && IsIdentPart(ByteAt(text, pos))) ++pos;
  out.assign(text, static_cast<std::size_t>(start), static_cast<std::size_t>(pos - start));
  return true;
}

bool ScanText(const std::string& text, std::vector<CCIToken>& tokens) {
  if (!FitsPositions(text)) return false;
  std::int32_t pos = 0;
  std::string word;
  while (InText(text, pos)) {
    const unsigned char c = ByteAt(text, pos);
    if (IsBlank(c)) {
      ++pos;
      continue;
    }
    switch (c) {
      case '{': tokens.emplace_back(kCIOpenList, "{"); ++pos; continue;
      case '}': tokens.emplace_back(kCICloseList, "}"); ++pos; continue;
      case '=': tokens.emplace_back(kCIEquals, "="); ++pos; continue;
      case ',': tokens.emplace_back(kCIComma, ","); ++pos; continue;
      case '(':
        if (!ScanPair(text, pos, '.', kCIOpenArgs, "(.", tokens)) return false;
        continue;
      case '.':
        if (!ScanPair(text, pos, ')', kCICloseArgs, ".)", tokens)) return false;
        continue;
      case '\'':
      case '"':
        if (!ScanString(text, word, pos, static_cast<char>(c))) return false;
        // A single-quoted text is a name, not a string value.
        tokens.emplace_back(c == '"' ? kCIString : kCIIdent, word);
        continue;
      default:
        break;
    }
    if (!IsIdentStart(c)) return false;  // digits and every other byte
    ScanSimpleIdent(text, word, pos);
    tokens.emplace_back(kCIIdent, word);
  }
  return true;
}

}  // namespace

CCIOutcome CCIScanner::ScanCITextWithOutcome(const std::string& text, std::vector<CCIToken>& tokens) const {
  bool scanned = false;
  if (!RunUnlessMemoryRunsOut([&] { scanned = ScanText(text, tokens); })) return CCIOutcome::kOutOfMemory;
  return scanned ? CCIOutcome::kDone : CCIOutcome::kInvalid;
}

bool CCIScanner::ScanCIText(const std::string& text, std::vector<CCIToken>& tokens) const {
  return ScanCITextWithOutcome(text, tokens) == CCIOutcome::kDone;
}

bool CCIScanner::ScanCIString(const std::string& text, std::string& out, std::int32_t& pos,
                              char quote) const {
  bool scanned = false;
  return RunUnlessMemoryRunsOut([&] { scanned = ScanString(text, out, pos, quote); }) && scanned;
}

bool CCIScanner::ScanCISimpleIdent(const std::string& text, std::string& out,
                                   std::int32_t& pos) const {
  bool scanned = false;
  return RunUnlessMemoryRunsOut([&] { scanned = ScanSimpleIdent(text, out, pos); }) && scanned;
}

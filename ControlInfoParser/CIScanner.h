// CCIScanner: cuts ControlInfo text (the host's property-page description
// language) into tokens for CCIParser.
//
// The language knows six delimiters, double-quoted strings and identifiers
// (plain, or in single quotes). White space is blank, line feed, carriage
// return and tab only. Letters are the ASCII letters: bytes from 0x80 up are
// never part of a plain identifier. A scan either accepts the whole text or
// fails, without a message or an error position.
#ifndef CONTROLINFOPARSER_CISCANNER_H_
#define CONTROLINFOPARSER_CISCANNER_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// Token kinds. The numbers are fixed: the parser compares them.
enum CCITokenKind : std::int32_t {
  kCIOpenArgs = 0,    // "(." opens the argument list of an instance
  kCICloseArgs = 1,   // ".)" closes it
  kCIOpenList = 2,    // "{"
  kCICloseList = 3,   // "}"
  kCIEquals = 4,      // "="
  kCIComma = 5,       // ","
  kCIString = 6,      // a double-quoted string; text is its unescaped contents
  kCIIdent = 7,       // an identifier; for 'quoted' ones, the unescaped contents
};

// How a scan or a parse ended, for callers that must tell text that is not
// ControlInfo apart from memory running out.
enum class CCIOutcome {
  kDone,         // the text was read
  kInvalid,      // the text is not what was asked for
  kOutOfMemory,  // an allocation failed; everything made on the way is freed
};

// One token: its kind and its text (the delimiter itself, or the contents of
// a string or identifier without quotes, escapes resolved). Held by value.
struct CCIToken {
  CCIToken() = default;
  CCIToken(CCITokenKind k, std::string t) : kind(k), text(std::move(t)) {}

  CCITokenKind kind = kCIOpenArgs;
  std::string text;
};

// Stateless scanner; every operation works on a text and a caller's position.
// Positions are signed 32-bit offsets into the text; a text longer than
// INT32_MAX bytes is rejected.
class CCIScanner {
 public:
  // Scans the whole of `text` and appends its tokens, in order, to `tokens`
  // (which is not cleared first). Returns true when the whole text was
  // consumed. On failure the tokens appended before the fault stay in
  // `tokens`; callers discard them. An empty or all-blank text gives true and
  // no tokens. Memory running out is a failure like any other (false).
  bool ScanCIText(const std::string& text, std::vector<CCIToken>& tokens) const;

  // ScanCIText that tells why it failed: kDone for true, kInvalid for a
  // text that does not scan, kOutOfMemory when an allocation failed.
  CCIOutcome ScanCITextWithOutcome(const std::string& text, std::vector<CCIToken>& tokens) const;

  // Scans one string enclosed in `quote` (a double or a single quote) that
  // starts at `pos`. Clears `out` and fills it with the contents, escapes
  // resolved. Inside the quotes, a backslash may escape `quote` itself, a
  // backslash, or one of b t n r f; anything else fails. On success `pos` is
  // just behind the closing quote; on failure `out` holds what was collected
  // and `pos` is unspecified (also when memory runs out, which fails too).
  bool ScanCIString(const std::string& text, std::string& out, std::int32_t& pos, char quote) const;

  // Scans one plain identifier at `pos`: "_" or an ASCII letter, then any
  // number of ASCII letters, digits and "_". Clears `out` and puts the name
  // into it; leaves `pos` on the first byte that is not part of it. Returns
  // false when the byte at `pos` cannot start an identifier, or when memory
  // runs out.
  bool ScanCISimpleIdent(const std::string& text, std::string& out, std::int32_t& pos) const;
};

#endif  // CONTROLINFOPARSER_CISCANNER_H_

#ifndef JASONPARSER_JASONSCANNER_H_
#define JASONPARSER_JASONSCANNER_H_

// The JSON scanner: cuts a JSON text into tokens, resolving string escapes
// and recording the byte position of every token. Works on bytes; there is
// no character-set handling. Texts longer than the largest 32-bit position
// (2147483647 bytes) are refused rather than scanned with wrapped positions.

#include <cstddef>
#include <string>
#include <vector>

// One lexeme of a JSON text. Not copyable. Final, so that deleting the many
// tokens of a parse needs no virtual call.
class CJasonToken final {
 public:
  enum TokenKind : int {
    LeftBrace = 0,     // "{"
    RightBrace = 1,    // "}"
    LeftBracket = 2,   // "["
    RightBracket = 3,  // "]"
    Colon = 4,         // ":"
    Comma = 5,         // ","
    Number = 6,        // text: the number exactly as written
    String = 7,        // text: the decoded content, without quotes
    True = 8,          // text: "true"
    False = 9,         // text: "false"
    Null = 10,         // text: "null"
  };

  // An empty token (kind "{", empty text, positions 0).
  CJasonToken();
  // A token whose text is a copy of `text`.
  CJasonToken(TokenKind kind, std::string& text, int start, int end);
  // A token whose text is the `length` bytes at `bytes`.
  CJasonToken(TokenKind kind, const char* bytes, std::size_t length, int start, int end);
  virtual ~CJasonToken();

  CJasonToken(const CJasonToken&) = delete;
  CJasonToken& operator=(const CJasonToken&) = delete;

  // Token memory comes from the library's slot pool (see JasonPool.h).
  static void* operator new(std::size_t size);
  static void operator delete(void* p, std::size_t size) noexcept;

  TokenKind kind;
  std::string text;
  int start;  // index of the token's first byte in the scanned text
  int end;    // index just past the token's last byte (past the closing quote)
};

// Makes the tokens of a JSON text. Stateless; made on the stack for a scan.
// Not copyable.
class CJasonScanner {
 public:
  CJasonScanner() = default;
  virtual ~CJasonScanner();

  CJasonScanner(const CJasonScanner&) = delete;
  CJasonScanner& operator=(const CJasonScanner&) = delete;

  // Appends the tokens of `text` to `tokens` as new heap objects owned by
  // whoever owns the vector. Returns true when the whole text was scanned
  // (an empty text or one of blanks gives no tokens), false at the first
  // byte that cannot begin or continue a token or when memory runs out; the
  // tokens made before the failure stay in the vector. Blanks are space,
  // tab, CR and LF. Nothing throws.
  bool ScanJasonText(std::string& text, std::vector<CJasonToken*>& tokens);

  // Each reads one token starting at `pos`. On success returns the new token
  // (owned by the caller) and sets `pos` to its end; on failure (memory
  // running out included) returns null and leaves `pos` unchanged.
  //
  // A string: escapes \" \\ \/ \b \f \n \r \t and \uXXXX; a \u escape adds
  // one byte, the low 8 bits of its code (no UTF-8 is produced). Raw control
  // bytes and bytes from 0x80 up are taken unchanged.
  CJasonToken* ScanJasonString(std::string& text, int& pos);
  // A number: optional "-", digits without leading zero, optional fraction,
  // optional exponent. An "e" or "E" that is the last byte is left unread.
  CJasonToken* ScanJasonNumber(std::string& text, int& pos);
  // The words "true", "false" and "null".
  CJasonToken* ScanJasonConstTrue(std::string& text, int& pos);
  CJasonToken* ScanJasonConstFalse(std::string& text, int& pos);
  CJasonToken* ScanJasonConstNull(std::string& text, int& pos);
};

// Rewrites `text` in place so that it holds no "--": a "-" followed by
// another "-" becomes the six characters \u002D (the last "-" of a run is
// kept). Inside a JSON string this is an equivalent escape; valid JSON has
// no "--" anywhere else. When memory runs out the text is left unchanged.
void NormalizeJasonText(std::string& text);

#endif  // JASONPARSER_JASONSCANNER_H_

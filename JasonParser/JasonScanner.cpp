#include "JasonParser/JasonScanner.h"

#include <climits>
#include <cstring>
#include <memory>
#include <new>

#include "JasonParser/JasonPool.h"

namespace {

// Every position must fit in a signed 32-bit int, including the end of the
// last token, which can equal the text's length.
constexpr std::size_t kMaxTextSize = static_cast<std::size_t>(INT_MAX);

constexpr std::size_t kMaxReservedTokens = 1u << 20;

bool IsDigit(unsigned char byte) { return byte >= '0' && byte <= '9'; }

// The value of a hexadecimal digit, or -1.
int HexValue(unsigned char byte) {
  if (byte >= '0' && byte <= '9') return byte - '0';
  if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
  if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
  return -1;
}

unsigned char ByteAt(const std::string& text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

// True when `pos` indexes a byte of `text` and positions of the text fit.
bool IsScannablePosition(const std::string& text, int pos) {
  return text.size() <= kMaxTextSize && pos >= 0 && static_cast<std::size_t>(pos) < text.size();
}

bool IsBlank(char byte) { return byte == ' ' || byte == '\n' || byte == '\r' || byte == '\t'; }

// The first position from `pos` that is not a blank (space, tab, CR, LF), or
// `size`. Indented documents have long runs of spaces: they are skipped
// eight bytes at a time.
int SkipBlanks(const char* data, int pos, int size) {
  static const char kEightSpaces[8] = {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};
  for (;;) {
    while (size - pos >= 8 && std::memcmp(data + pos, kEightSpaces, 8) == 0) pos += 8;
    if (pos >= size || !IsBlank(data[pos])) return pos;
    ++pos;
  }
}

// Appends `token` to `tokens` without leaking it if the vector cannot grow.
void Append(std::vector<CJasonToken*>& tokens, CJasonToken* token) {
  std::unique_ptr<CJasonToken> owned(token);
  tokens.push_back(owned.get());
  owned.release();
}

// The byte meant by the escape letter after a backslash, or -1 for a letter
// that is not an escape ("u" is handled by the caller).
int SimpleEscape(unsigned char letter) {
  switch (letter) {
    case '"':
      return '"';
    case '\\':
      return '\\';
    case '/':
      return '/';
    case 'b':
      return 0x08;
    case 'f':
      return 0x0C;
    case 'n':
      return 0x0A;
    case 'r':
      return 0x0D;
    case 't':
      return 0x09;
    default:
      return -1;
  }
}

// Decodes the body of a string that holds escapes, from `index` (just after
// the opening quote) to the closing quote. Returns the index of the closing
// quote, or 0 when the string is malformed or unterminated.
std::size_t DecodeEscapedString(const std::string& text, std::size_t index, std::string& out) {
  const std::size_t size = text.size();
  const char* data = text.data();
  while (index < size) {
    const unsigned char byte = ByteAt(text, index);
    if (byte == '"') return index;
    if (byte != '\\') {
      std::size_t runEnd = index + 1;
      while (runEnd < size && data[runEnd] != '"' && data[runEnd] != '\\') ++runEnd;
      out.append(data + index, runEnd - index);
      index = runEnd;
      continue;
    }
    if (++index >= size) return 0;
    const unsigned char letter = ByteAt(text, index);
    if (letter != 'u') {
      const int decoded = SimpleEscape(letter);
      if (decoded < 0) return 0;
      out += static_cast<char>(decoded);
      ++index;
      continue;
    }
    // \uXXXX keeps only the low 8 bits of the code.
    if (size - index <= 4) return 0;
    unsigned int accumulator = 0;
    for (std::size_t k = 1; k <= 4; ++k) {
      const int digit = HexValue(ByteAt(text, index + k));
      if (digit < 0) return 0;
      accumulator = (accumulator * 16u + static_cast<unsigned int>(digit)) & 0xFFu;
    }
    out += static_cast<char>(static_cast<unsigned char>(accumulator));
    index += 5;
  }
  return 0;
}

// A new token, or null when memory runs out.
CJasonToken* NewToken(CJasonToken::TokenKind kind, const char* bytes, std::size_t length, int start,
                      int end) {
  try {
    return new CJasonToken(kind, bytes, length, start, end);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

CJasonToken* ScanWord(std::string& text, int& pos, const char* word, CJasonToken::TokenKind kind) {
  if (!IsScannablePosition(text, pos)) return nullptr;
  const std::size_t length = std::strlen(word);
  if (text.compare(static_cast<std::size_t>(pos), length, word) != 0) return nullptr;
  const int end = pos + static_cast<int>(length);
  CJasonToken* token = NewToken(kind, word, length, pos, end);
  if (token == nullptr) return nullptr;
  pos = end;
  return token;
}

}  // namespace

CJasonToken::CJasonToken() : kind(LeftBrace), start(0), end(0) {}

CJasonToken::CJasonToken(TokenKind tokenKind, std::string& tokenText, int tokenStart, int tokenEnd)
    : kind(tokenKind), text(tokenText), start(tokenStart), end(tokenEnd) {}

CJasonToken::CJasonToken(TokenKind tokenKind, const char* bytes, std::size_t length,
                         int tokenStart, int tokenEnd)
    : kind(tokenKind), text(bytes, length), start(tokenStart), end(tokenEnd) {}

CJasonToken::~CJasonToken() = default;

void* CJasonToken::operator new(std::size_t size) { return JasonPoolAllocate(size); }

void CJasonToken::operator delete(void* p, std::size_t size) noexcept { JasonPoolFree(p, size); }

CJasonScanner::~CJasonScanner() = default;

// The body of ScanJasonText. Throws std::bad_alloc.
static bool ScanAll(CJasonScanner& scanner, std::string& text, std::vector<CJasonToken*>& tokens) {
  if (text.size() > kMaxTextSize) return false;
  // Typical documents have fewer tokens than a quarter of their bytes;
  // reserving that much (up to a million tokens) saves most regrowth of the
  // vector, and growing past the estimate costs only a few reallocations.
  const std::size_t estimate = text.size() / 4 + 1;
  tokens.reserve(tokens.size() + (estimate < kMaxReservedTokens ? estimate : kMaxReservedTokens));
  const int size = static_cast<int>(text.size());
  const char* data = text.data();
  int pos = 0;
  while (pos < size) {
    pos = SkipBlanks(data, pos, size);
    if (pos >= size) break;
    const unsigned char byte = static_cast<unsigned char>(data[pos]);
    CJasonToken* token = nullptr;
    switch (byte) {
      case '{':
      case '}':
      case '[':
      case ']':
      case ':':
      case ',': {
        const CJasonToken::TokenKind kind =
            byte == '{'   ? CJasonToken::LeftBrace
            : byte == '}' ? CJasonToken::RightBrace
            : byte == '[' ? CJasonToken::LeftBracket
            : byte == ']' ? CJasonToken::RightBracket
            : byte == ':' ? CJasonToken::Colon
                          : CJasonToken::Comma;
        token = new CJasonToken(kind, data + pos, 1, pos, pos + 1);
        ++pos;
        break;
      }
      case '"':
        token = scanner.ScanJasonString(text, pos);
        break;
      case 't':
        token = scanner.ScanJasonConstTrue(text, pos);
        break;
      case 'f':
        token = scanner.ScanJasonConstFalse(text, pos);
        break;
      case 'n':
        token = scanner.ScanJasonConstNull(text, pos);
        break;
      default:
        if (byte == '-' || IsDigit(byte)) token = scanner.ScanJasonNumber(text, pos);
        break;
    }
    if (token == nullptr) return false;
    Append(tokens, token);
  }
  return true;
}

bool CJasonScanner::ScanJasonText(std::string& text, std::vector<CJasonToken*>& tokens) {
  try {
    return ScanAll(*this, text, tokens);
  } catch (const std::bad_alloc&) {
    return false;  // the tokens made so far stay with the vector's owner
  }
}

CJasonToken* CJasonScanner::ScanJasonString(std::string& text, int& pos) {
  if (!IsScannablePosition(text, pos) || text[static_cast<std::size_t>(pos)] != '"') return nullptr;
  try {
    const std::size_t size = text.size();
    const char* data = text.data();
    const std::size_t bodyStart = static_cast<std::size_t>(pos) + 1;
    // The body up to the first quote or backslash, found with memchr.
    const void* quote = std::memchr(data + bodyStart, '"', size - bodyStart);
    const std::size_t quoteAt =
        quote != nullptr ? static_cast<std::size_t>(static_cast<const char*>(quote) - data) : size;
    const void* backslash = std::memchr(data + bodyStart, '\\', quoteAt - bodyStart);
    const std::size_t index =
        backslash != nullptr ? static_cast<std::size_t>(static_cast<const char*>(backslash) - data)
                             : quoteAt;
    if (index >= size) return nullptr;
    CJasonToken* token;
    if (data[index] == '"') {
      // No escapes: the text is the bytes between the quotes.
      token = new CJasonToken(CJasonToken::String, data + bodyStart, index - bodyStart, pos,
                              static_cast<int>(index + 1));
    } else {
      std::string decoded(data + bodyStart, index - bodyStart);
      const std::size_t closing = DecodeEscapedString(text, index, decoded);
      if (closing == 0) return nullptr;
      token = new CJasonToken(CJasonToken::String, "", 0, pos, static_cast<int>(closing + 1));
      token->text.swap(decoded);
    }
    pos = token->end;
    return token;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

CJasonToken* CJasonScanner::ScanJasonNumber(std::string& text, int& pos) {
  if (!IsScannablePosition(text, pos)) return nullptr;
  const unsigned char* data = reinterpret_cast<const unsigned char*>(text.data());
  const unsigned char* const limit = data + text.size();
  const unsigned char* const begin = data + pos;
  const unsigned char* p = begin;
  if (*p == '-') ++p;
  const unsigned char* digits = p;
  while (p < limit && IsDigit(*p)) ++p;
  if (p == digits) return nullptr;
  if (*digits == '0' && p - digits > 1) return nullptr;  // no leading zeros
  if (p < limit && *p == '.') {
    const unsigned char* fraction = ++p;
    while (p < limit && IsDigit(*p)) ++p;
    if (p == fraction) return nullptr;
  }
  // An "e" that is the last byte is left for the caller, which fails on it.
  if (limit - p > 1 && (*p == 'e' || *p == 'E')) {
    const unsigned char* q = p + 1;
    if (*q == '-' || *q == '+') ++q;
    const unsigned char* exponent = q;
    while (q < limit && IsDigit(*q)) ++q;
    if (q == exponent) return nullptr;
    p = q;
  }
  const int end = pos + static_cast<int>(p - begin);
  CJasonToken* token = new CJasonToken(CJasonToken::Number, reinterpret_cast<const char*>(begin),
                                       static_cast<std::size_t>(p - begin), pos, end);
  pos = end;
  return token;
}

CJasonToken* CJasonScanner::ScanJasonConstTrue(std::string& text, int& pos) {
  return ScanWord(text, pos, "true", CJasonToken::True);
}

CJasonToken* CJasonScanner::ScanJasonConstFalse(std::string& text, int& pos) {
  return ScanWord(text, pos, "false", CJasonToken::False);
}

CJasonToken* CJasonScanner::ScanJasonConstNull(std::string& text, int& pos) {
  return ScanWord(text, pos, "null", CJasonToken::Null);
}

void NormalizeJasonText(std::string& text) {
  if (text.find("--") == std::string::npos) return;
  std::string normalized;
  try {
    normalized.reserve(text.size() + text.size() / 4);
  } catch (const std::bad_alloc&) {
    return;  // memory ran out: the text stays as it was
  }
  // Each "--" adds five bytes; a text made mostly of hyphens may outgrow the
  // reservation.
  try {
    const std::size_t size = text.size();
    for (std::size_t i = 0; i < size; ++i) {
      if (text[i] == '-' && i + 1 < size && text[i + 1] == '-') {
        normalized.append("\\u002D", 6);
      } else {
        normalized += text[i];
      }
    }
  } catch (const std::bad_alloc&) {
    return;
  }
  text.swap(normalized);
}

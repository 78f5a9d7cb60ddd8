#include "JasonParser/JasonScanner.h"

#include <climits>
#include <cstring>
#include <memory>

#include "JasonParser/JasonPool.h"

namespace {

// Every position must fit in a signed 32-bit int, including the end of the
// last token, which can equal the text's length.
constexpr std::size_t kMaxTextSize = static_cast<std::size_t>(INT_MAX);

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

// The number of decimal digits starting at `index`.
std::size_t CountDigits(const std::string& text, std::size_t index) {
  std::size_t count = 0;
  while (index + count < text.size() && IsDigit(ByteAt(text, index + count))) ++count;
  return count;
}

// True when `pos` indexes a byte of `text` and positions of the text fit.
bool IsScannablePosition(const std::string& text, int pos) {
  return text.size() <= kMaxTextSize && pos >= 0 && static_cast<std::size_t>(pos) < text.size();
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

CJasonToken* ScanWord(std::string& text, int& pos, const char* word, CJasonToken::TokenKind kind) {
  if (!IsScannablePosition(text, pos)) return nullptr;
  const std::size_t length = std::strlen(word);
  if (text.compare(static_cast<std::size_t>(pos), length, word) != 0) return nullptr;
  const int end = pos + static_cast<int>(length);
  CJasonToken* token = new CJasonToken(kind, word, length, pos, end);
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

bool CJasonScanner::ScanJasonText(std::string& text, std::vector<CJasonToken*>& tokens) {
  if (text.size() > kMaxTextSize) return false;
  // At most about one token per four bytes in typical documents; growing past the
  // estimate costs only a few reallocations.
  tokens.reserve(tokens.size() + text.size() / 4 + 1);
  const int size = static_cast<int>(text.size());
  int pos = 0;
  while (pos < size) {
    const unsigned char byte = ByteAt(text, static_cast<std::size_t>(pos));
    CJasonToken* token = nullptr;
    switch (byte) {
      case ' ':
      case '\t':
      case '\r':
      case '\n':
        ++pos;
        continue;
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
        token = new CJasonToken(kind, text.data() + pos, 1, pos, pos + 1);
        ++pos;
        break;
      }
      case '"':
        token = ScanJasonString(text, pos);
        break;
      case 't':
        token = ScanJasonConstTrue(text, pos);
        break;
      case 'f':
        token = ScanJasonConstFalse(text, pos);
        break;
      case 'n':
        token = ScanJasonConstNull(text, pos);
        break;
      default:
        if (byte == '-' || IsDigit(byte)) token = ScanJasonNumber(text, pos);
        break;
    }
    if (token == nullptr) return false;
    Append(tokens, token);
  }
  return true;
}

CJasonToken* CJasonScanner::ScanJasonString(std::string& text, int& pos) {
  if (!IsScannablePosition(text, pos) || text[static_cast<std::size_t>(pos)] != '"') return nullptr;
  const std::size_t size = text.size();
  const char* data = text.data();
  const std::size_t bodyStart = static_cast<std::size_t>(pos) + 1;
  std::size_t index = bodyStart;
  while (index < size && data[index] != '"' && data[index] != '\\') ++index;
  if (index >= size) return nullptr;
  CJasonToken* token;
  if (data[index] == '"') {
    // No escapes: the text is the bytes between the quotes.
    token = new CJasonToken(CJasonToken::String, data + bodyStart, index - bodyStart, pos,
                            static_cast<int>(index + 1));
  } else {
    std::string decoded(data + bodyStart, index - bodyStart);
    index = DecodeEscapedString(text, index, decoded);
    if (index == 0) return nullptr;
    token = new CJasonToken(CJasonToken::String, "", 0, pos, static_cast<int>(index + 1));
    token->text.swap(decoded);
  }
  pos = token->end;
  return token;
}

CJasonToken* CJasonScanner::ScanJasonNumber(std::string& text, int& pos) {
  if (!IsScannablePosition(text, pos)) return nullptr;
  const std::size_t size = text.size();
  const std::size_t begin = static_cast<std::size_t>(pos);
  std::size_t p = begin;
  if (ByteAt(text, p) == '-') ++p;
  const std::size_t intDigits = CountDigits(text, p);
  if (intDigits == 0) return nullptr;
  if (ByteAt(text, p) == '0' && intDigits > 1) return nullptr;
  p += intDigits;
  if (p < size && ByteAt(text, p) == '.') {
    const std::size_t fractionDigits = CountDigits(text, p + 1);
    if (fractionDigits == 0) return nullptr;
    p += 1 + fractionDigits;
  }
  if (p + 1 < size && (ByteAt(text, p) == 'e' || ByteAt(text, p) == 'E')) {
    std::size_t q = p + 1;
    if (ByteAt(text, q) == '-' || ByteAt(text, q) == '+') ++q;
    const std::size_t exponentDigits = CountDigits(text, q);
    if (exponentDigits == 0) return nullptr;
    p = q + exponentDigits;
  }
  CJasonToken* token = new CJasonToken(CJasonToken::Number, text.data() + begin, p - begin, pos,
                                       static_cast<int>(p));
  pos = token->end;
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
  normalized.reserve(text.size() + text.size() / 4);
  const std::size_t size = text.size();
  for (std::size_t i = 0; i < size; ++i) {
    if (text[i] == '-' && i + 1 < size && text[i + 1] == '-') {
      normalized.append("\\u002D", 6);
    } else {
      normalized += text[i];
    }
  }
  text.swap(normalized);
}

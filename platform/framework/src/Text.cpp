#include "Fen/Text.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Fen/Ranged.h"

namespace Fen {

void TextReader::fail(std::string_view expected) const {
  std::string msg = "\"";
  msg += expected;
  msg += "\", instead got ";
  msg += quoteInput(rest_, 256);
  throw TextFormException(msg);
}

void TextReader::expect(std::string_view expected) {
  if (!consume(expected)) fail(expected);
}

bool TextReader::consume(std::string_view text) {
  if (rest_.substr(0, text.size()) != text) return false;
  rest_.remove_prefix(text.size());
  return true;
}

U64 TextReader::readUnsigned() {
  unsigned base = 10;
  std::string_view s = rest_;
  if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
    base = 16;
    s.remove_prefix(2);
  }
  U64 v = 0;
  std::size_t n = 0;
  for (; n < s.size(); ++n) {
    char c = s[n];
    unsigned d;
    if (c >= '0' && c <= '9') {
      d = unsigned(c - '0');
    } else if (base == 16 && c >= 'a' && c <= 'f') {
      d = unsigned(c - 'a' + 10);
    } else if (base == 16 && c >= 'A' && c <= 'F') {
      d = unsigned(c - 'A' + 10);
    } else {
      break;
    }
    if (v > (~U64(0) - d) / base)
      throw RangeException("U64::value > 18446744073709551615 not allowed");
    v = v * base + d;
  }
  if (n == 0) fail("an unsigned number");
  rest_ = s.substr(n);
  return v;
}

std::string_view TextReader::readUntil(std::string_view stops) {
  std::size_t n = rest_.find_first_of(stops);
  if (n == std::string_view::npos) n = rest_.size();
  std::string_view token = rest_.substr(0, n);
  rest_.remove_prefix(n);
  return token;
}

void TextReader::expectEnd() {
  if (!rest_.empty()) fail("end of text");
}

bool ValueTraits<bool>::parse(TextReader& in) {
  if (in.consume("true")) return true;
  if (in.consume("false")) return false;
  in.fail("true or false");
}

// Strings print in single quotes; a quote or backslash inside is preceded by a backslash.
void ValueTraits<std::string>::print(std::string& out, const std::string& v) {
  out += '\'';
  for (char c : v) {
    if (c == '\'' || c == '\\') out += '\\';
    out += c;
  }
  out += '\'';
}

std::string ValueTraits<std::string>::parse(TextReader& in) {
  in.expect("'");
  std::string v;
  for (;;) {
    v += in.readUntil("'\\");
    if (in.consume("'")) return v;
    if (!in.consume("\\") || in.atEnd()) in.fail("a closing quote");
    v += in.rest()[0];
    in.consume(in.rest().substr(0, 1));
  }
}

U32 ValueTraits<std::string>::hash(U32 seed, const std::string& v) {
  for (char c : v) seed = hashMix(seed, U8(c), 1);
  return seed;
}

void ValueTraits<double>::print(std::string& out, double v) {
  char buf[32];
  for (int precision = 1; precision <= 17; ++precision) {
    std::snprintf(buf, sizeof buf, "%.*g", precision, v);
    if (std::strtod(buf, nullptr) == v) break;
  }
  out += buf;
}

double ValueTraits<double>::parse(TextReader& in) {
  const std::string_view rest = in.rest();
  std::size_t n = 0;
  while (n < rest.size() && std::strchr("0123456789+-.eE", rest[n]) != nullptr) ++n;
  const std::string token(rest.substr(0, n));
  char* end = nullptr;
  const double v = token.empty() ? 0.0 : std::strtod(token.c_str(), &end);
  if (token.empty() || end != token.c_str() + token.size()) in.fail("a decimal number");
  // A value beyond the double's range would print as "inf", which reads back as nothing.
  if (!std::isfinite(v)) in.fail("a finite decimal number");
  in.consume(token);
  return v;
}

U32 ValueTraits<double>::hash(U32 seed, double v) {
  U64 bits = 0;
  if (v != 0.0) std::memcpy(&bits, &v, sizeof bits);  // +0 and -0 compare equal: one hash
  return hashMix(seed, bits, 8);
}

std::string rangeMessageMinMax(const char* type) {
  std::string t(type);
  return t + "::value < " + t + "::min or > " + t + "::max not allowed";
}

std::string rangeMessageMinNull(const char* type) {
  std::string t(type);
  return t + "::value < " + t + "::min or > " + t + "::null not allowed";
}

std::string rangeMessageLiteral(const char* type, U64 min, U64 max) {
  return std::string(type) + "::value < " + std::to_string(min) + " or > " + std::to_string(max) +
         " not allowed";
}

std::string rangeMessageLiteralMax(const char* type, U64 max) {
  return std::string(type) + "::value > " + std::to_string(max) + " not allowed";
}

}  // namespace Fen

namespace Fen {

std::string quoteInput(std::string_view text, std::size_t limit) {
  std::string out;
  for (std::size_t i = 0; i < text.size() && i < limit; ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c < 0x7F) {
      out += char(c);
      continue;
    }
    static const char hex[] = "0123456789abcdef";
    out += "\\x";
    out += hex[c >> 4];
    out += hex[c & 0xF];
  }
  if (text.size() > limit) out += "... (" + std::to_string(text.size()) + " bytes)";
  return out;
}

}  // namespace Fen

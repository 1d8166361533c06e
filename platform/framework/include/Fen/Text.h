#pragma once
// Value text form: readers and writers of the printable form of every value type, e.g.
// "Value('TarnSwitchTable::ArpKey', ** {'egressPort': 3, 'rewriteIndex': 5})".
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>

#include "Fen/Exception.h"
#include "Fen/Types.h"

namespace Fen {

// The rest of a text being parsed, consumed from the front.
class TextReader {
 public:
  explicit TextReader(std::string_view text) : rest_(text) {}

  std::string_view rest() const { return rest_; }
  bool atEnd() const { return rest_.empty(); }
  // Consumes `expected` or raises TextFormException quoting it and the rest of the input.
  void expect(std::string_view expected);
  // True (and consumed) when the rest starts with `text`.
  bool consume(std::string_view text);
  // Reads an unsigned decimal (or 0x-prefixed hexadecimal) number that fits 64 bits.
  U64 readUnsigned();
  // Reads up to (not including) the first character in `stops`, or to the end.
  std::string_view readUntil(std::string_view stops);
  // Raises TextFormException unless the whole input was consumed.
  void expectEnd();
  [[noreturn]] void fail(std::string_view expected) const;

 private:
  std::string_view rest_;
};

// Print/parse/hash of one field type. Specialised per type; integers and bool are built in.
template <class T, class Enable = void>
struct ValueTraits;

// Whether a field type has a numeric form: ValueTraits<T> gives `numericMin`, `numericMax` (U64)
// and `fromNumber(U64)`, so tools can set it from a number in that range (its bounds included).
template <class T, class = void>
struct HasNumericForm : std::false_type {};
template <class T>
struct HasNumericForm<T, std::void_t<decltype(ValueTraits<T>::numericMax)>> : std::true_type {};

// The input quoted for a message: control and non-ASCII bytes (a NUL included) as \xNN, and past
// `limit` bytes cut, with the full length given, so a message keeps its context whatever the
// input holds.
std::string quoteInput(std::string_view text, std::size_t limit = 64);

// Hash of the low `widthBytes` bytes of `value` (at most 8) continuing from `seed`: FNV-1a over
// the bytes, least significant first, then a final avalanche. Inline, so hashing a key is no call.
inline U32 hashMix(U32 seed, U64 value, unsigned widthBytes) {
  U32 h = seed ^ 2166136261u;
  for (unsigned i = 0; i < widthBytes && i < 8; ++i) {
    h ^= U32((value >> (8 * i)) & 0xFF);
    h *= 16777619u;
  }
  h ^= h >> 15;
  h *= 0x2C1B3C6Du;
  h ^= h >> 12;
  return h;
}

template <class T>
struct ValueTraits<T, std::enable_if_t<std::is_unsigned_v<T> && !std::is_same_v<T, bool>>> {
  static const char* typeName() {
    switch (sizeof(T)) {
      case 1:
        return "U8";
      case 2:
        return "U16";
      case 4:
        return "U32";
      default:
        return "U64";
    }
  }
  static constexpr U64 numericMin = 0;
  static constexpr U64 numericMax = static_cast<U64>(static_cast<T>(~T(0)));
  static T fromNumber(U64 n) { return static_cast<T>(n); }
  static void print(std::string& out, T v) { out += std::to_string(v); }
  static T parse(TextReader& in) {
    U64 v = in.readUnsigned();
    if (v > static_cast<U64>(static_cast<T>(~T(0)))) {
      throw RangeException(std::string(typeName()) + "::value > " +
                           std::to_string(static_cast<T>(~T(0))) + " not allowed");
    }
    return static_cast<T>(v);
  }
  static U32 hash(U32 seed, T v) { return hashMix(seed, v, sizeof(T)); }
};

template <>
struct ValueTraits<bool> {
  static const char* typeName() { return "bool"; }
  static constexpr U64 numericMin = 0;
  static constexpr U64 numericMax = 1;
  static bool fromNumber(U64 n) { return n != 0; }
  static void print(std::string& out, bool v) { out += v ? "true" : "false"; }
  static bool parse(TextReader& in);
  static U32 hash(U32 seed, bool v) { return hashMix(seed, v ? 1 : 0, 1); }
};

// Seconds as a double (time stamps): the shortest decimal form that reads back to the same
// value ("0", "1.5", "1700000000.25"); parses any decimal or exponent form.
template <>
struct ValueTraits<double> {
  static const char* typeName() { return "double"; }
  static void print(std::string& out, double v);
  static double parse(TextReader& in);
  static U32 hash(U32 seed, double v);
};

template <>
struct ValueTraits<std::string> {
  static const char* typeName() { return "String"; }
  static void print(std::string& out, const std::string& v);
  static std::string parse(TextReader& in);
  static U32 hash(U32 seed, const std::string& v);
};

// A fixed array prints as its elements in their own text form inside brackets, "[1, 2, 3]", and
// parses only with exactly N elements.
template <class T, std::size_t N>
struct ValueTraits<std::array<T, N>> {
  static const char* typeName() {
    static const std::string name =
        std::string(ValueTraits<T>::typeName()) + "[" + std::to_string(N) + "]";
    return name.c_str();
  }
  static void print(std::string& out, const std::array<T, N>& v) {
    out += '[';
    for (std::size_t i = 0; i < N; ++i) {
      if (i > 0) out += ", ";
      ValueTraits<T>::print(out, v[i]);
    }
    out += ']';
  }
  static std::array<T, N> parse(TextReader& in) {
    std::array<T, N> v{};
    std::size_t count = 0;
    in.expect("[");
    while (!in.consume("]")) {
      if (count > 0 && !in.consume(", ")) in.fail("a comma or a closing bracket");
      if (count == N) countError("more than " + std::to_string(N));
      v[count++] = ValueTraits<T>::parse(in);
    }
    if (count != N) countError(std::to_string(count));
    return v;
  }
  static U32 hash(U32 seed, const std::array<T, N>& v) {
    for (const T& e : v) seed = ValueTraits<T>::hash(seed, e);
    return seed;
  }

 private:
  [[noreturn]] static void countError(const std::string& got) {
    throw TextFormException(std::string(typeName()) + " takes " + std::to_string(N) +
                            " elements, got " + got);
  }
};

// Whole-text helpers: the value must span the entire text.
template <class T>
T parseText(std::string_view text) {
  TextReader in(text);
  T v = ValueTraits<T>::parse(in);
  in.expectEnd();
  return v;
}

template <class T>
std::string printText(const T& v) {
  std::string out;
  ValueTraits<T>::print(out, v);
  return out;
}

}  // namespace Fen

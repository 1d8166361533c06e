#pragma once
// Enumerations with names: an enumeration whose EnumNames specialisation lists its names prints
// as the name of its value (a value without a name prints as its number) and parses from a name
// or from a number up to its largest accepted value; a larger number raises the range exception
// with the enumeration's message.
//
//   template <> struct Fen::EnumNames<Ns::Colour> {
//     static constexpr const char* typeName = "Ns::Colour";
//     static constexpr const char* names[] = {"red", "green"};
//     static constexpr U64 maxValue = 1;              // largest value made from a number
//     static const std::string& message();            // its range message
//   };
#include <cstddef>
#include <iterator>
#include <string>
#include <type_traits>

#include "Fen/Text.h"

namespace Fen {

template <class E>
struct EnumNames;

template <class E, class = void>
struct HasEnumNames : std::false_type {};
template <class E>
struct HasEnumNames<E, std::void_t<decltype(EnumNames<E>::names)>> : std::true_type {};

// The name of `v`, or nullptr when its value has none.
template <class E>
const char* enumName(E v) {
  const auto n = static_cast<std::size_t>(v);
  return n < std::size(EnumNames<E>::names) ? EnumNames<E>::names[n] : nullptr;
}

// The value of number `n`; above the largest accepted value, the range exception.
template <class E>
E enumFromNumber(U64 n) {
  if (n > EnumNames<E>::maxValue) throw RangeException(EnumNames<E>::message());
  return static_cast<E>(n);
}

template <class E>
struct ValueTraits<E, std::enable_if_t<std::is_enum_v<E> && HasEnumNames<E>::value>> {
  using Rep = std::underlying_type_t<E>;
  static const char* typeName() { return EnumNames<E>::typeName; }
  static void print(std::string& out, E v) {
    const char* name = enumName(v);
    out += name ? std::string(name) : std::to_string(U64(static_cast<Rep>(v)));
  }
  // A name is matched whole: the longest name the text starts with wins.
  static E parse(TextReader& in) {
    const std::string_view rest = in.rest();
    if (!rest.empty() && rest.front() >= '0' && rest.front() <= '9')
      return enumFromNumber<E>(in.readUnsigned());
    std::size_t best = std::size(EnumNames<E>::names);
    std::size_t bestLength = 0;
    for (std::size_t i = 0; i < std::size(EnumNames<E>::names); ++i) {
      const std::string_view name = EnumNames<E>::names[i];
      if (name.size() > bestLength && rest.substr(0, name.size()) == name) {
        best = i;
        bestLength = name.size();
      }
    }
    if (bestLength == 0) in.fail(std::string("a name of ") + typeName());
    in.consume(rest.substr(0, bestLength));
    return static_cast<E>(best);
  }
  static U32 hash(U32 seed, E v) { return hashMix(seed, U64(static_cast<Rep>(v)), sizeof(Rep)); }
};

}  // namespace Fen

#pragma once
// Value types declared once by their fields: text form (print and parse), equality, ordering
// and hash all follow from the field list, in declaration order. A field may be an integer, bool,
// string, ranged type, another value, or a std::array of any of these ("[1, 2, 3]").
//
//   struct Key : Fen::Value<Key> {
//     U16 a; U8 b;
//     static constexpr const char* fenTypeName = "Ns::Key";
//     static constexpr auto fenFields() {
//       return std::make_tuple(Fen::field("a", &Key::a), Fen::field("b", &Key::b));
//     }
//   };
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "Fen/Text.h"

namespace Fen {

template <class C, class T>
struct Field {
  using Class = C;
  using Type = T;
  const char* name;
  T C::*member;
};

template <class C, class T>
constexpr Field<C, T> field(const char* name, T C::*member) {
  return Field<C, T>{name, member};
}

// Appends "'name': value" for each field of v, separated by ", "; `first` tracks the separator
// so several field lists can be joined into one text form.
template <class V>
void printFieldList(std::string& out, bool& first, const V& v) {
  std::apply(
      [&](const auto&... f) {
        ((out += first ? "'" : ", '", first = false, out += f.name, out += "': ",
          ValueTraits<typename std::decay_t<decltype(f)>::Type>::print(out, v.*(f.member))),
         ...);
      },
      V::fenFields());
}

template <class V>
void printValue(std::string& out, const V& v) {
  out += "Value('";
  out += V::fenTypeName;
  out += "', ** {";
  bool first = true;
  printFieldList(out, first, v);
  out += "})";
}

// Parses the text form; the prefix up to the brace and each "'name': " must match exactly.
template <class V>
V parseValue(TextReader& in) {
  V v;
  in.expect(std::string("Value('") + V::fenTypeName + "', ** {");
  bool first = true;
  std::apply(
      [&](const auto&... f) {
        ((in.expect(std::string(first ? "'" : ", '") + f.name + "': "), first = false,
          v.*(f.member) = ValueTraits<typename std::decay_t<decltype(f)>::Type>::parse(in)),
         ...);
      },
      V::fenFields());
  in.expect("})");
  return v;
}

template <class V>
bool valueEqual(const V& a, const V& b) {
  return std::apply([&](const auto&... f) { return ((a.*(f.member) == b.*(f.member)) && ...); },
                    V::fenFields());
}

template <class V>
bool valueLess(const V& a, const V& b) {
  int order = 0;
  std::apply(
      [&](const auto&... f) {
        ((order == 0 ? (order = a.*(f.member) < b.*(f.member)   ? -1
                                : b.*(f.member) < a.*(f.member) ? 1
                                                                : 0)
                     : 0),
         ...);
      },
      V::fenFields());
  return order < 0;
}

template <class V>
U32 valueHash(const V& v, U32 seed) {
  std::apply(
      [&](const auto&... f) {
        ((seed = ValueTraits<typename std::decay_t<decltype(f)>::Type>::hash(seed, v.*(f.member))),
         ...);
      },
      V::fenFields());
  return seed;
}

// CRTP base giving a value type its operators, hash and text form.
template <class D>
struct Value {
  friend bool operator==(const D& a, const D& b) { return valueEqual(a, b); }
  friend bool operator!=(const D& a, const D& b) { return !valueEqual(a, b); }
  friend bool operator<(const D& a, const D& b) { return valueLess(a, b); }

  U32 hash(U32 seed) const { return valueHash(static_cast<const D&>(*this), seed); }
  std::string toStrep() const {
    std::string out;
    printValue(out, static_cast<const D&>(*this));
    return out;
  }
  // Builds the value from its text form (the whole text must be consumed).
  static D fromText(std::string_view text) {
    TextReader in(text);
    D v = parseValue<D>(in);
    in.expectEnd();
    return v;
  }
};

template <class V, class = void>
struct IsValue : std::false_type {};
template <class V>
struct IsValue<V, std::void_t<decltype(V::fenFields())>> : std::true_type {};

// A value type nested in another prints and parses in its own text form.
template <class V>
struct ValueTraits<V, std::enable_if_t<IsValue<V>::value>> {
  static const char* typeName() { return V::fenTypeName; }
  static void print(std::string& out, const V& v) { printValue(out, v); }
  static V parse(TextReader& in) { return parseValue<V>(in); }
  static U32 hash(U32 seed, const V& v) { return valueHash(v, seed); }
};

}  // namespace Fen

#pragma once
// Ranged integer types: every assignment is checked and a value outside the bounds raises
// RangeException with the type's fixed message.
#include <string>

#include "Fen/Exception.h"
#include "Fen/Text.h"
#include "Fen/Types.h"

namespace Fen {

// "<T>::value < <T>::min or > <T>::max not allowed"
std::string rangeMessageMinMax(const char* type);
// "<T>::value < <T>::min or > <T>::null not allowed" (largest value is the null sentinel)
std::string rangeMessageMinNull(const char* type);
// "<T>::value < <min> or > <max> not allowed" (literal bounds)
std::string rangeMessageLiteral(const char* type, U64 min, U64 max);
// "<T>::value > <max> not allowed" (literal upper bound, minimum 0)
std::string rangeMessageLiteralMax(const char* type, U64 max);

// Tag supplies: `static constexpr const char* name` and `static const std::string& message()`.
template <class Tag, class Rep, U64 Min, U64 Max>
class Ranged {
  static_assert(Max <= static_cast<U64>(static_cast<Rep>(~Rep(0))), "bound does not fit Rep");

 public:
  using RepType = Rep;
  static constexpr Rep min = static_cast<Rep>(Min);
  static constexpr Rep max = static_cast<Rep>(Max);

  constexpr Ranged() : v_(min) {}
  Ranged(U64 v) : v_(check(v)) {}  // NOLINT: implicit, checked like an assignment

  constexpr Rep value() const { return v_; }
  static Rep check(U64 v) {
    if (v < Min || v > Max) throw RangeException(Tag::message());
    return static_cast<Rep>(v);
  }

  friend bool operator==(Ranged a, Ranged b) { return a.v_ == b.v_; }
  friend bool operator!=(Ranged a, Ranged b) { return a.v_ != b.v_; }
  friend bool operator<(Ranged a, Ranged b) { return a.v_ < b.v_; }

 private:
  Rep v_;
};

template <class Tag, class Rep, U64 Min, U64 Max>
struct ValueTraits<Ranged<Tag, Rep, Min, Max>> {
  using R = Ranged<Tag, Rep, Min, Max>;
  static const char* typeName() { return Tag::name; }
  static constexpr U64 numericMin = Min;
  static constexpr U64 numericMax = Max;
  static R fromNumber(U64 n) { return R(n); }
  static void print(std::string& out, R v) { out += std::to_string(v.value()); }
  static R parse(TextReader& in) { return R(in.readUnsigned()); }
  static U32 hash(U32 seed, R v) { return hashMix(seed, v.value(), sizeof(Rep)); }
};

}  // namespace Fen

#pragma once
// IPv4 address; text form "a.b.c.d", kept as a host-order number (a is the most significant
// octet).
#include <string>

#include "Fen/Text.h"

namespace Lanx {

class Ip4Addr {
 public:
  constexpr Ip4Addr() = default;
  constexpr explicit Ip4Addr(Fen::U32 v) : v_(v) {}
  constexpr Fen::U32 value() const { return v_; }

  friend constexpr bool operator==(Ip4Addr a, Ip4Addr b) { return a.v_ == b.v_; }
  friend constexpr bool operator!=(Ip4Addr a, Ip4Addr b) { return a.v_ != b.v_; }
  friend constexpr bool operator<(Ip4Addr a, Ip4Addr b) { return a.v_ < b.v_; }

 private:
  Fen::U32 v_ = 0;
};

}  // namespace Lanx

namespace Fen {
template <>
struct ValueTraits<Lanx::Ip4Addr> {
  static const char* typeName() { return "Lanx::Ip4Addr"; }
  static constexpr U64 numericMin = 0;
  static constexpr U64 numericMax = 0xFFFFFFFFull;
  static Lanx::Ip4Addr fromNumber(U64 n) { return Lanx::Ip4Addr(U32(n)); }
  static void print(std::string& out, Lanx::Ip4Addr v);
  // Four decimal octets 0..255 separated by dots; anything else is refused quoting the input.
  static Lanx::Ip4Addr parse(TextReader& in);
  static U32 hash(U32 seed, Lanx::Ip4Addr v) { return hashMix(seed, v.value(), 4); }
};
}  // namespace Fen

#pragma once
// Set of ingress ports: bit i is chip port i, 64 bits. Text form: the set as a hexadecimal
// number, "0x0" for the empty set (a decimal number is read too).
#include <string>

#include "Fen/Text.h"

namespace TarnSwitch {

class IngressPortMask {
 public:
  constexpr IngressPortMask() = default;
  constexpr explicit IngressPortMask(Fen::U64 bits) : bits_(bits) {}
  constexpr Fen::U64 value() const { return bits_; }

  // The mask as the chip lays it out for a table of `ports` ports: bits 0..ports (ports + 1
  // bits; all 64 from 63 ports on).
  constexpr Fen::U64 hardwareBitmask(Fen::U32 ports) const { return bits_ & lowBits(ports); }
  // The mask read from a table of `ports` ports: bits 0..ports of `bits` are kept.
  static constexpr IngressPortMask ingressPortMaskFromHw(Fen::U64 bits, Fen::U32 ports) {
    return IngressPortMask(bits & lowBits(ports));
  }

  friend constexpr bool operator==(IngressPortMask a, IngressPortMask b) {
    return a.bits_ == b.bits_;
  }
  friend constexpr bool operator!=(IngressPortMask a, IngressPortMask b) { return !(a == b); }
  friend constexpr bool operator<(IngressPortMask a, IngressPortMask b) {
    return a.bits_ < b.bits_;
  }

 private:
  // Bits 0..ports set (no shift by 64 or more).
  static constexpr Fen::U64 lowBits(Fen::U32 ports) {
    return ports >= 63 ? ~Fen::U64(0) : (Fen::U64(1) << (ports + 1)) - 1;
  }
  Fen::U64 bits_ = 0;
};

}  // namespace TarnSwitch

namespace Fen {
template <>
struct ValueTraits<TarnSwitch::IngressPortMask> {
  static const char* typeName() { return "TarnSwitch::IngressPortMask"; }
  static void print(std::string& out, TarnSwitch::IngressPortMask v);
  static TarnSwitch::IngressPortMask parse(TextReader& in) {
    return TarnSwitch::IngressPortMask(in.readUnsigned());
  }
  static U32 hash(U32 seed, TarnSwitch::IngressPortMask v) { return hashMix(seed, v.value(), 8); }
};
}  // namespace Fen

#pragma once
// 48-bit Ethernet address; text form "aa:bb:cc:dd:ee:ff", octet 0 first on the wire.
#include <array>
#include <string>

#include "Fen/Text.h"

namespace Lanx {

class EthAddr {
 public:
  constexpr EthAddr() = default;
  constexpr explicit EthAddr(const std::array<Fen::U8, 6>& octets) : o_(octets) {}
  // From the low 48 bits of v, octet 0 being the most significant.
  static EthAddr fromU64(Fen::U64 v) {
    std::array<Fen::U8, 6> o{};
    for (unsigned i = 0; i < 6; ++i) o[i] = Fen::U8(v >> (8 * (5 - i)));
    return EthAddr(o);
  }
  Fen::U64 toU64() const {
    Fen::U64 v = 0;
    for (auto b : o_) v = (v << 8) | b;
    return v;
  }

  Fen::U8 octet(unsigned i) const { return o_[i]; }
  bool isZero() const { return toU64() == 0; }

  friend bool operator==(const EthAddr& a, const EthAddr& b) { return a.o_ == b.o_; }
  friend bool operator!=(const EthAddr& a, const EthAddr& b) { return a.o_ != b.o_; }
  friend bool operator<(const EthAddr& a, const EthAddr& b) { return a.o_ < b.o_; }

 private:
  std::array<Fen::U8, 6> o_{};
};

}  // namespace Lanx

namespace Fen {
template <>
struct ValueTraits<Lanx::EthAddr> {
  static const char* typeName() { return "Lanx::EthAddr"; }
  static void print(std::string& out, const Lanx::EthAddr& v);
  static Lanx::EthAddr parse(TextReader& in);
  static U32 hash(U32 seed, const Lanx::EthAddr& v) { return hashMix(seed, v.toU64(), 6); }
};
}  // namespace Fen

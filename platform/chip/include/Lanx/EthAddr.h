#pragma once
// 48-bit Ethernet address; text form "aa:bb:cc:dd:ee:ff", octet 0 first on the wire.
#include <array>
#include <string>

#include "Fen/Text.h"

namespace Lanx {

// Kept as two integers (octets 0..3, octets 4..5), so copies, comparisons and conversions are a
// few instructions.
class EthAddr {
 public:
  constexpr EthAddr() = default;
  constexpr explicit EthAddr(const std::array<Fen::U8, 6>& o)
      : high_((Fen::U32(o[0]) << 24) | (Fen::U32(o[1]) << 16) | (Fen::U32(o[2]) << 8) | o[3]),
        low_(Fen::U16((o[4] << 8) | o[5])) {}
  // From the low 48 bits of v, octet 0 being the most significant.
  static constexpr EthAddr fromU64(Fen::U64 v) {
    EthAddr a;
    a.high_ = Fen::U32(v >> 16);
    a.low_ = Fen::U16(v);
    return a;
  }
  constexpr Fen::U64 toU64() const { return (Fen::U64(high_) << 16) | low_; }

  Fen::U8 octet(unsigned i) const { return Fen::U8(toU64() >> (8 * (5 - i))); }
  bool isZero() const { return high_ == 0 && low_ == 0; }

  friend bool operator==(const EthAddr& a, const EthAddr& b) {
    return a.high_ == b.high_ && a.low_ == b.low_;
  }
  friend bool operator!=(const EthAddr& a, const EthAddr& b) { return !(a == b); }
  friend bool operator<(const EthAddr& a, const EthAddr& b) { return a.toU64() < b.toU64(); }

 private:
  Fen::U32 high_ = 0;
  Fen::U16 low_ = 0;
};

}  // namespace Lanx

namespace Fen {
template <>
struct ValueTraits<Lanx::EthAddr> {
  static const char* typeName() { return "Lanx::EthAddr"; }
  static constexpr U64 numericMin = 0;
  static constexpr U64 numericMax = 0xFFFFFFFFFFFFull;
  static Lanx::EthAddr fromNumber(U64 n) { return Lanx::EthAddr::fromU64(n); }
  static void print(std::string& out, const Lanx::EthAddr& v);
  static Lanx::EthAddr parse(TextReader& in);
  static U32 hash(U32 seed, const Lanx::EthAddr& v) { return hashMix(seed, v.toU64(), 6); }
};
}  // namespace Fen

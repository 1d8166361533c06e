#pragma once
// IPv4 prefix: an address and a length 0..32 whose host bits (below the length) are all zero.
// Text form "a.b.c.d/len".
#include <string>

#include "Fen/Text.h"
#include "Lanx/Ip4Addr.h"

namespace Lanx {

class Prefix {
 public:
  constexpr Prefix() = default;
  // A length above 32 or an address with host bits raises the range exception.
  Prefix(Ip4Addr address, Fen::U8 len);

  constexpr Ip4Addr address() const { return address_; }
  constexpr Fen::U8 len() const { return len_; }
  // Whether no address bit below the length is set.
  static constexpr bool validAsPrefix(Ip4Addr address, Fen::U8 len) {
    return len >= 32 || (address.value() & (0xFFFFFFFFu >> len)) == 0;
  }

  friend constexpr bool operator==(Prefix a, Prefix b) {
    return a.address_ == b.address_ && a.len_ == b.len_;
  }
  friend constexpr bool operator!=(Prefix a, Prefix b) { return !(a == b); }
  friend constexpr bool operator<(Prefix a, Prefix b) {
    return a.address_ != b.address_ ? a.address_ < b.address_ : a.len_ < b.len_;
  }

 private:
  Ip4Addr address_;
  Fen::U8 len_ = 0;
};

}  // namespace Lanx

namespace Fen {
template <>
struct ValueTraits<Lanx::Prefix> {
  static const char* typeName() { return "Lanx::Prefix"; }
  static void print(std::string& out, Lanx::Prefix v);
  // "a.b.c.d/len"; a missing length is refused quoting the input, a bad length or host bits
  // raise the range exception.
  static Lanx::Prefix parse(TextReader& in);
  static U32 hash(U32 seed, Lanx::Prefix v) { return hashMix(seed, keyBits(v), 5); }
  // Address and length side by side, as keyed collections hash a prefix.
  static U64 keyBits(Lanx::Prefix v) { return (U64(v.address().value()) << 8) | v.len(); }
};
}  // namespace Fen

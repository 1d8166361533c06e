#include "TarnSwitch/CrcHash.h"

#include "Fen/Assert.h"

namespace TarnSwitch {
namespace {

using Fen::U16;
using Fen::U32;
using Fen::U64;
using Fen::U8;

// One CRC width: the polynomials of ways 0, 1 and 2 (without their top bit) and, per way, the
// register change of each whole input byte, so full bytes cost one table step each.
class Crc {
 public:
  Crc(U32 width, U32 poly0, U32 poly1, U32 poly2)
      : width_(width),
        top_(1u << (width - 1)),
        mask_((1u << width) - 1),
        polys_{poly0, poly1, poly2} {
    for (U32 w = 0; w < 3; ++w) {
      for (U32 b = 0; b < 256; ++b) {
        U32 reg = b << (width - 8);
        for (int i = 0; i < 8; ++i) reg = shift(reg, 0, polys_[w]);
        table_[w][b] = U16(reg);
      }
    }
  }

  // The CRC of the first `bits` bits of `bytes`, most significant bit of byte 0 first.
  U32 hash(const U8* bytes, U8 way, U32 bits) const {
    return run(way, bits, [bytes](U32 i) { return bytes[i]; });
  }
  // The same over the first `bits` (at most 64) bits of `message`, most significant first.
  U32 hash(U64 message, U8 way, U32 bits) const {
    FEN_ASSERT(bits <= 64);
    return run(way, bits, [message](U32 i) { return U8(message >> (56 - 8 * i)); });
  }

 private:
  // The CRC of `bits` message bits, byte i of the message being byteAt(i): whole bytes a table
  // step each, the bits after the last whole byte one at a time.
  template <class ByteAt>
  U32 run(U8 way, U32 bits, const ByteAt& byteAt) const {
    const U32 poly = polys_[way % 3];
    const U16* table = table_[way % 3];
    U32 reg = (U32(way) / 3) & mask_;
    U32 i = 0;
    for (; i + 8 <= bits; i += 8) {
      reg = ((reg << 8) & mask_) ^ table[((reg >> (width_ - 8)) ^ byteAt(i / 8)) & 0xFFu];
    }
    for (; i < bits; ++i) reg = shift(reg, (byteAt(i / 8) >> (7 - i % 8)) & 1u, poly);
    return reg;
  }
  // Shifts one message bit into the register's top and reduces.
  U32 shift(U32 reg, U32 in, U32 poly) const {
    const bool feedback = ((reg & top_) != 0) != (in != 0);
    reg = (reg << 1) & mask_;
    return feedback ? reg ^ poly : reg;
  }

  U32 width_, top_, mask_;
  U32 polys_[3];
  U16 table_[3][256];
};

const Crc crc10(10, 0x233, 0x3D9, 0x175);
const Crc crc12(12, 0x80F, 0xF13, 0xD31);
const Crc crc13(13, 0x1CF5, 0x1FAB, 0x1FB5);

}  // namespace

U32 crc10Hash(const U8* bytes, U8 way, U32 bits) {
  return crc10.hash(bytes, way, bits);
}
U32 crc12Hash(const U8* bytes, U8 way, U32 bits) {
  return crc12.hash(bytes, way, bits);
}
U32 crc13Hash(const U8* bytes, U8 way, U32 bits) {
  return crc13.hash(bytes, way, bits);
}
U32 crc10Hash64(U64 message, U8 way, U32 bits) {
  return crc10.hash(message, way, bits);
}
U32 crc12Hash64(U64 message, U8 way, U32 bits) {
  return crc12.hash(message, way, bits);
}

}  // namespace TarnSwitch

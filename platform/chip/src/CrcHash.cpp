#include "TarnSwitch/CrcHash.h"

namespace TarnSwitch {
namespace {

using Fen::U32;
using Fen::U8;

// Polynomials without their top bit, per way modulo 3.
constexpr U32 crc10Polys[3] = {0x233, 0x3D9, 0x175};
constexpr U32 crc12Polys[3] = {0x80F, 0xF13, 0xD31};
constexpr U32 crc13Polys[3] = {0x1CF5, 0x1FAB, 0x1FB5};

// Bit-serial CRC: shift each message bit into the register's top and reduce.
U32 crcHash(U32 width, const U32* polys, const U8* bytes, U8 way, U32 bits) {
  const U32 top = 1u << (width - 1);
  const U32 mask = (top << 1) - 1;
  const U32 poly = polys[way % 3];
  U32 reg = (U32(way) / 3) & mask;
  for (U32 i = 0; i < bits; ++i) {
    U32 in = (bytes[i / 8] >> (7 - i % 8)) & 1u;
    bool feedback = ((reg & top) != 0) != (in != 0);
    reg = (reg << 1) & mask;
    if (feedback) reg ^= poly;
  }
  return reg;
}

}  // namespace

U32 crc10Hash(const U8* bytes, U8 way, U32 bits) {
  return crcHash(10, crc10Polys, bytes, way, bits);
}
U32 crc12Hash(const U8* bytes, U8 way, U32 bits) {
  return crcHash(12, crc12Polys, bytes, way, bits);
}
U32 crc13Hash(const U8* bytes, U8 way, U32 bits) {
  return crcHash(13, crc13Polys, bytes, way, bits);
}

}  // namespace TarnSwitch

#pragma once
// Bucket hashes of the chip's hashed tables: a CRC of width 10, 12 or 13 bits over the first
// `bits` bits of a key, most significant bit of byte 0 first, no reflection and no final XOR.
// Way w uses the polynomial of w mod 3, and ways 3 and above start the register at w / 3, so
// every way of a table spreads keys differently.
#include "Fen/Types.h"

namespace TarnSwitch {

Fen::U32 crc10Hash(const Fen::U8* bytes, Fen::U8 way, Fen::U32 bits);
Fen::U32 crc12Hash(const Fen::U8* bytes, Fen::U8 way, Fen::U32 bits);
Fen::U32 crc13Hash(const Fen::U8* bytes, Fen::U8 way, Fen::U32 bits);
// The same over the first `bits` (at most 64) bits of `message`, most significant bit first:
// keys that fit a 64-bit number are hashed without laying them out as bytes.
Fen::U32 crc10Hash64(Fen::U64 message, Fen::U8 way, Fen::U32 bits);
Fen::U32 crc12Hash64(Fen::U64 message, Fen::U8 way, Fen::U32 bits);

}  // namespace TarnSwitch

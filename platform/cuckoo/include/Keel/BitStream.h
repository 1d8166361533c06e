#pragma once
// Packing of fields that do not fall on word boundaries. Bit n of a stream is bit (n mod 8) of
// byte n / 8, which is bit (n mod 32) of little-endian word n / 32.
#include "Fen/Types.h"

namespace Keel {

// Reads bits lowBit..highBit (inclusive, at most 63 bits, within 9 bytes) of a word array.
Fen::U64 bitStreamGet(const Fen::U32* words, Fen::U32 lowBit, Fen::U32 highBit);
// Writes the low `len` bits of value (len < 64) at bit `startBit` of a byte buffer.
void bitStreamSet(Fen::U8* buffer, Fen::U16 startBit, Fen::U8 len, Fen::U64 value);

}  // namespace Keel

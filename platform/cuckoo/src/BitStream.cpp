#include "Keel/BitStream.h"

#include "Fen/Assert.h"

namespace Keel {

Fen::U64 bitStreamGet(const Fen::U32* words, Fen::U32 lowBit, Fen::U32 highBit) {
  int len = int(highBit) - int(lowBit) + 1;
  FEN_ASSERT(len < 64);
  int startSlice = int(lowBit / 8);
  int endSlice = int(highBit / 8);
  FEN_ASSERT(startSlice >= endSlice - 8);
  Fen::U64 v = 0;
  for (int i = len - 1; i >= 0; --i) {
    Fen::U32 bit = lowBit + Fen::U32(i);
    v = (v << 1) | ((words[bit / 32] >> (bit % 32)) & 1u);
  }
  return v;
}

void bitStreamSet(Fen::U8* buffer, Fen::U16 startBit, Fen::U8 len, Fen::U64 value) {
  FEN_ASSERT(len < 64);
  int startSlice = startBit / 8;
  int endSlice = (int(startBit) + int(len) - 1) / 8;
  FEN_ASSERT(startSlice >= endSlice - 8);
  for (unsigned i = 0; i < len; ++i) {
    unsigned bit = startBit + i;
    Fen::U8 mask = Fen::U8(1u << (bit % 8));
    if ((value >> i) & 1u) {
      buffer[bit / 8] = Fen::U8(buffer[bit / 8] | mask);
    } else {
      buffer[bit / 8] = Fen::U8(buffer[bit / 8] & ~mask);
    }
  }
}

}  // namespace Keel

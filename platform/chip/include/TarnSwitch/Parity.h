#pragma once
// Even parity helpers: bit 0 of the result makes the count of ones, with it, even.
#include "Fen/Types.h"

namespace TarnSwitch {

constexpr Fen::U32 parity32Bit(Fen::U32 w) {
  w ^= w >> 16;
  w ^= w >> 8;
  w ^= w >> 4;
  w ^= w >> 2;
  w ^= w >> 1;
  return w & 1u;
}

constexpr Fen::U32 parityU32Array(const Fen::U32* words, unsigned n) {
  Fen::U32 p = 0;
  for (unsigned i = 0; i < n; ++i) p ^= parity32Bit(words[i]);
  return p;
}

}  // namespace TarnSwitch

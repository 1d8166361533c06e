#pragma once
// Even parity helpers: bit 0 of the result makes the count of ones, with it, even.
#include "Fen/Types.h"

namespace TarnSwitch {

constexpr Fen::U32 parity32Bit(Fen::U32 w) {
  return Fen::U32(__builtin_parity(w));
}

constexpr Fen::U32 parityU32Array(const Fen::U32* words, unsigned n) {
  Fen::U32 p = 0;
  for (unsigned i = 0; i < n; ++i) p ^= parity32Bit(words[i]);
  return p;
}

}  // namespace TarnSwitch

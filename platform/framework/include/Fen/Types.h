#pragma once
// Fixed-width integer names used across the framework and the tables.
#include <cstddef>
#include <cstdint>

namespace Fen {
using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
}  // namespace Fen

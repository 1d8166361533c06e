#pragma once
// Basic types of the table API: hardware indexes, table ids, table states, data word indexes.
#include <string>

#include "Fen/Ranged.h"

namespace TarnSwitchApi {

using Fen::U16;
using Fen::U32;
using Fen::U64;
using Fen::U8;

// Index of an entry in a hardware table.
using HwIndex = U32;
// Number of a hardware table within a convertor: pipeline copies use the pipeline number.
using HwTableId = U32;

// State in which a hardware table is declared; `init` (3) declares it and initialises its
// hardware at once.
enum class TableState : U8 { none = 0, created = 1, configured = 2, init = 3 };

// Index 0..7 of a data word in a hardware entry.
struct DataArrayIndexTag {
  static constexpr const char* name = "TarnSwitchApi::DataArrayIndex";
  static const std::string& message();
};
using DataArrayIndex = Fen::Ranged<DataArrayIndexTag, U8, 0, 7>;
constexpr unsigned hwEntryMaxWords = 8;

// A hardware index outside the bounds of the table it was used on.
class HwIndexException : public Fen::RangeException {
 public:
  using Fen::RangeException::RangeException;
};

}  // namespace TarnSwitchApi

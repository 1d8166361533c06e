#pragma once
// Row access shared by the engines: reads that report corruption through the convertor's hook,
// and writes that happen only when the row's words change.
#include "TarnSwitchApi/SwTable.h"

namespace TarnSwitchTable {

using Fen::U16;
using Fen::U32;
using Fen::U64;
using Fen::U8;
using TarnSwitchApi::HwEntryConfig;
using TarnSwitchApi::HwIndex;
using TarnSwitchApi::HwTableConfig;
using TarnSwitchApi::SwTableProfileConvertor;

// Reads row `index` into `out`. A corrupted row is reported to the convertor's corruption hook
// and read as the default (empty) configuration. Returns whether the row exists.
bool readHwRow(SwTableProfileConvertor& convertor, const HwTableConfig& table, HwIndex index,
               HwEntryConfig& out);

// Writes `count` words at `index` unless the row already holds them at that index; words past
// `count` are kept from the present row. Returns whether a write happened.
bool writeHwRowIfChanged(SwTableProfileConvertor& convertor, HwTableConfig& table, HwIndex index,
                         const U32* words, unsigned count);

}  // namespace TarnSwitchTable

#pragma once
// encode and decode of one entry on a fresh simulated chip.
#include <string>
#include <vector>

#include "TarnSwitch/ChipProfile.h"

namespace Tarnctl {

// The rows that setting one entry writes, per hardware copy: HwTableId, hardware table name,
// HwIndex, and each word in hex with its register. The table starts cold on a fresh chip whose
// rows are then emptied, so every row the entry produces shows as a write.
std::string encodeText(const TarnSwitch::ChipProfile& profile, const std::string& table,
                       const std::vector<std::string>& fields);

// The entry that `words` decode to at row `index` of hardware copy `copy`, as its text form.
std::string decodeText(const TarnSwitch::ChipProfile& profile, const std::string& table,
                       Fen::U32 copy, Fen::U32 index, const std::vector<std::string>& words);

}  // namespace Tarnctl

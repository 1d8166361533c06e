#pragma once
// Test helpers: a simulated chip of a built-in profile.
#include <string>

#include "TarnSwitchApi/SwTable.h"

namespace TarnTest {

// A fresh simulated chip of the named built-in profile ("default" or "legacy").
Fen::Ptr<TarnSwitchApi::HwTableCollection> makeChip(const std::string& profile = "default");

}  // namespace TarnTest

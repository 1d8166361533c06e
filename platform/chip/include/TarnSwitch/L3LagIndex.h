#pragma once
// Layer-3 link-aggregation index: 0..56 are aggregates, 57 is the null index.
#include <string>

#include "Fen/Ranged.h"

namespace TarnSwitch {

struct L3LagIndexTag {
  static constexpr const char* name = "TarnSwitch::L3LagIndex";
  static const std::string& message();
};
using L3LagIndex = Fen::Ranged<L3LagIndexTag, Fen::U8, 0, 57>;
constexpr Fen::U8 l3LagIndexNull = 57;

}  // namespace TarnSwitch

#pragma once
// Layer-3 flood identifier: 0..127 are flood groups, 128 is the null identifier.
#include <string>

#include "Fen/Ranged.h"

namespace TarnSwitch {

struct L3FloodIdTag {
  static constexpr const char* name = "TarnSwitch::L3FloodId";
  static const std::string& message();
};
using L3FloodId = Fen::Ranged<L3FloodIdTag, Fen::U8, 0, 128>;
constexpr Fen::U8 l3FloodIdNull = 128;

}  // namespace TarnSwitch

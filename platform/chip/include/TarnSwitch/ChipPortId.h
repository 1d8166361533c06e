#pragma once
// Chip port number: 0..48 are ports, 49 is the null port.
#include <string>

#include "Fen/Ranged.h"

namespace TarnSwitch {

struct ChipPortIdTag {
  static constexpr const char* name = "TarnSwitch::ChipPortId";
  static const std::string& message();
};
using ChipPortId = Fen::Ranged<ChipPortIdTag, Fen::U16, 0, 49>;
constexpr Fen::U16 chipPortIdNull = 49;

}  // namespace TarnSwitch

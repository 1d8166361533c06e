#pragma once
// VLAN group a multicast route replicates into: 16 bits, of which the chip keeps the low 4.
#include <string>

#include "Fen/Ranged.h"

namespace TarnSwitch {

struct VlanGroupIdTag {
  static constexpr const char* name = "TarnSwitch::VlanGroupId";
  static const std::string& message();
};
using VlanGroupId = Fen::Ranged<VlanGroupIdTag, Fen::U16, 0, 0xFFFF>;

}  // namespace TarnSwitch

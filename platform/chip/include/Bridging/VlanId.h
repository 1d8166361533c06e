#pragma once
// VLAN identifiers: VlanId 1..4094, VlanIdOrNone 0..4094 (0 = none).
#include <string>

#include "Fen/Ranged.h"

namespace Bridging {

struct VlanIdTag {
  static constexpr const char* name = "Bridging::VlanId";
  static const std::string& message();
};
using VlanId = Fen::Ranged<VlanIdTag, Fen::U16, 1, 4094>;

struct VlanIdOrNoneTag {
  static constexpr const char* name = "Bridging::VlanIdOrNone";
  static const std::string& message();
};
using VlanIdOrNone = Fen::Ranged<VlanIdOrNoneTag, Fen::U16, 0, 4094>;

}  // namespace Bridging

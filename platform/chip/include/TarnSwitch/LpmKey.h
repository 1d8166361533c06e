#pragma once
// Key of a longest-prefix-match route: the routing instance and the IPv4 prefix.
#include <tuple>

#include "Fen/Value.h"
#include "Lanx/Prefix.h"

namespace TarnSwitch {

struct LpmKey : Fen::Value<LpmKey> {
  Fen::U8 vrfId = 0;
  Lanx::Prefix prefix;

  LpmKey() = default;
  LpmKey(Fen::U8 vrf, Lanx::Prefix p) : vrfId(vrf), prefix(p) {}

  static constexpr const char* fenTypeName = "TarnSwitch::LpmKey";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("vrfId", &LpmKey::vrfId),
                           Fen::field("prefix", &LpmKey::prefix));
  }
};

}  // namespace TarnSwitch

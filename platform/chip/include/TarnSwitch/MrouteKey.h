#pragma once
// Key of a multicast route: source and group IPv4 addresses and a 12-bit qualifier.
#include <string>
#include <tuple>

#include "Fen/Ranged.h"
#include "Fen/Value.h"
#include "Lanx/Ip4Addr.h"

namespace TarnSwitch {

struct MrouteQualifierTag {
  static constexpr const char* name = "TarnSwitch::MrouteKey::qualifier";
  static const std::string& message();
};
using MrouteQualifier = Fen::Ranged<MrouteQualifierTag, Fen::U16, 0, 4095>;

struct MrouteKey : Fen::Value<MrouteKey> {
  Lanx::Ip4Addr source;
  Lanx::Ip4Addr group;
  MrouteQualifier qualifier;

  MrouteKey() = default;
  MrouteKey(Lanx::Ip4Addr s, Lanx::Ip4Addr g, MrouteQualifier q)
      : source(s), group(g), qualifier(q) {}

  static constexpr const char* fenTypeName = "TarnSwitch::MrouteKey";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("source", &MrouteKey::source),
                           Fen::field("group", &MrouteKey::group),
                           Fen::field("qualifier", &MrouteKey::qualifier));
  }
};

}  // namespace TarnSwitch

#pragma once
// Where a routed packet goes: an L3 link aggregate, or a rewrite of the given kind and index.
#include <string>
#include <tuple>

#include "Fen/Ranged.h"
#include "Fen/Value.h"
#include "TarnSwitch/L3LagIndex.h"

namespace TarnSwitch {

// Kind of next-hop rewrite, 8 bits. The named values are the ones the chip's tables know;
// others may be carried but not every table can encode them.
struct RewriteTypeTag {
  static constexpr const char* name = "TarnSwitch::RewriteType";
  static const std::string& message();
};
using RewriteType = Fen::Ranged<RewriteTypeTag, Fen::U8, 0, 255>;
constexpr Fen::U8 rewriteTypeLag = 0;    // the aggregate in l3LagIndex (or none)
constexpr Fen::U8 rewriteTypeArp = 1;    // the ARP rewrite at rewriteIndex
constexpr Fen::U8 rewriteTypeFlood = 2;  // the L3 flood rewrite at rewriteIndex

struct NexthopIndexes : Fen::Value<NexthopIndexes> {
  L3LagIndex l3LagIndex = l3LagIndexNull;
  RewriteType rewriteType = rewriteTypeLag;
  Fen::U8 rewriteIndex = 0;

  NexthopIndexes() = default;
  NexthopIndexes(L3LagIndex lag, RewriteType type, Fen::U8 index)
      : l3LagIndex(lag), rewriteType(type), rewriteIndex(index) {}

  static constexpr const char* fenTypeName = "TarnSwitch::NexthopIndexes";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("l3LagIndex", &NexthopIndexes::l3LagIndex),
                           Fen::field("rewriteType", &NexthopIndexes::rewriteType),
                           Fen::field("rewriteIndex", &NexthopIndexes::rewriteIndex));
  }
};

}  // namespace TarnSwitch

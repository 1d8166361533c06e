#pragma once
// What the per-port Layer-2 tables share: a key that is one chip port, rows that are the chip's
// ports (row = port id), the chip's port counts, the registers of one port and the one-hot
// selector of a port within its pipeline.
#include <functional>
#include <string>
#include <tuple>

#include "Fen/Value.h"
#include "TarnSwitch/ChipPortId.h"
#include "TarnSwitch/ChipProfile.h"
#include "TarnSwitchApi/RegisterMapping.h"
#include "TarnSwitchTable/TarnTableDescribed.h"

namespace TarnSwitchTable {

// A key of one chip port, `portId` (above 49 raises the ChipPortId range exception). D is the
// key type, which names itself (fenTypeName).
template <class D>
struct PortKey : Fen::Value<D> {
  TarnSwitch::ChipPortId portId;

  PortKey() = default;
  explicit PortKey(TarnSwitch::ChipPortId port) : portId(port) {}
  static constexpr auto fenFields() { return std::make_tuple(Fen::field("portId", &D::portId)); }
};

// The chip's ports as rows of a table keyed by Key (a PortKey): row i is port i, 0 .. N - 1.
// Tables that place a port by its pipeline need ports per pipeline: a profile without them is a
// configuration error (range exception).
template <class Key>
struct PortRows {
  PortRows(const TarnSwitch::ChipProfile& p, bool byPipeline)
      : ports(p.portCount), perPipeline(p.portsPerPipeline), pipelines(p.pipelineCount) {
    if (ports == 0) throw Fen::RangeException("a per-port table needs a profile with ports");
    if (byPipeline && perPipeline == 0)
      throw Fen::RangeException("profile '" + p.name +
                                "' has no ports per pipeline: ports cannot be placed in pipelines");
  }
  HwIndex hwIndexFromKey(const Key& k) const { return k.portId.value(); }
  // A row above the ChipPortId null value raises its range exception.
  Key keyFromHwIndex(HwIndex row) const { return Key(TarnSwitch::ChipPortId(row)); }
  HwIndex lastRow() const { return ports - 1; }
  // Port i's bit in a 32-bit selector of the ports of its pipeline (none past bit 31).
  U32 selector(U32 port) const {
    const U32 bit = port % perPipeline;
    return bit < 32 ? 1u << bit : 0u;
  }

  U32 ports, perPipeline, pipelines;
};

// Registers given port by port: row i's word 0 goes to the register `registerOf(i)` names.
inline Fen::Ptr<TarnSwitchApi::HwTableRegisterMappingColl> portRegisters(
    const std::string& hwTableName, U32 ports,
    const std::function<std::string(U32 port)>& registerOf) {
  auto mapping = Fen::makePtr<TarnSwitchApi::HwTableRegisterMappingColl>(hwTableName);
  for (U32 i = 0; i < ports; ++i) mapping->regsIs(i, rowRegisters(registerOf(i), {""}));
  return mapping;
}

// "pipeline[<i / P>]/port[<i % P>]/": the prefix of port i's own registers in its pipeline.
inline std::string pipelinePortPrefix(U32 port, U32 perPipeline) {
  return "pipeline[" + std::to_string(port / perPipeline) + "]/port[" +
         std::to_string(port % perPipeline) + "]/";
}

}  // namespace TarnSwitchTable

#include "TarnSwitchTable/TarnTableArp.h"

#include "Fen/Registry.h"
#include "TarnSwitch/Parity.h"

namespace TarnSwitchTable {
namespace {

Fen::TraceHandle traceHandle("TarnTableArp");

// Bits 13..4 hold the 10-bit row address and bit 14 is always set, in words 1 and 3.
constexpr U32 rowAddressShift = 4;
constexpr U32 rowAddressMask = 0x3FFu << rowAddressShift;
constexpr U32 rowConstantBit = 1u << 14;
constexpr U32 parityBit = 1u << 3;
constexpr U32 lowControlBits = 0xFu;  // parity and the three zero bits below it
constexpr U32 staticMask = 0xFFFFFFF0u;

Fen::ClassInfo arpTableClass() {
  Fen::ClassInfo c;
  c.name = "TarnSwitchTable::ArpTable";
  c.kind = "table";
  c.factory = [](const std::string& name) -> Fen::Ptr<Fen::PtrInterface> {
    return arpTableFactory(name);
  };
  c.keyClass = ArpKey::fenTypeName;
  c.resultClass = ArpResult::fenTypeName;
  return c;
}

Fen::ModuleRegistrar registrar(Fen::ModuleInfo{
    "TarnTableArp",
    {Fen::valueClassInfo<ArpKey>(), Fen::valueClassInfo<ArpResult>(),
     Fen::ClassInfo{ArpEntry::fenTypeName, "entry", {}, nullptr, "", ""}, arpTableClass(),
     Fen::ClassInfo{"TarnSwitchTable::ArpConvertor", "convertor", {}, nullptr, "", ""}}});

}  // namespace

const std::string& ArpRewriteIndexTag::message() {
  static const std::string m = Fen::rangeMessageLiteralMax(name, 63);
  return m;
}

Fen::Ptr<ArpEntry> arpEntryFactory(const ArpKey& key) {
  auto e = Fen::makePtr<ArpEntry>();
  e->key = key;
  return e;
}

Fen::Ptr<ArpTable> arpTableFactory(const std::string& name) {
  return Fen::makePtr<ArpTable>(name);
}

const Fen::TraceHandle& ArpTable::moduleTrace() const {
  return traceHandle;
}

Fen::Ptr<DirectBaseConvertor> ArpTable::profileConvertorFactory() const {
  return Fen::makePtr<ArpConvertor>(const_cast<ArpTable*>(this));
}

void ArpConvertor::doCreateHwTables(TableState state, bool resetHw) {
  FEN_TRACE(
      traceHandle, 8,
      "virtual void TarnSwitchTable::ArpConvertor::doCreateHwTables(TarnSwitchApi::TableState, "
      "bool) "
          << unsigned(state) << " " << (resetHw ? "true" : "false"));
  std::string name = swTable()->hwTableName("Arp");
  auto mapping = Fen::makePtr<TarnSwitchApi::HwTableRegisterMappingRange>(name);
  U32 ports = profile().portCount;
  if (ports == 0) throw Fen::RangeException("the ARP table needs a profile with ports");
  for (U32 p = 0; p < ports / portsPerProcessor; ++p) {
    std::string prefix = "egress/processor[" + std::to_string(p) + "]/";
    auto regs = Fen::makePtr<TarnSwitchApi::HwAddressColl>();
    regs->addressIs(0, prefix + "lum_data");
    regs->addressIs(1, prefix + "lum_ctl_addr_data");
    regs->addressIs(2, prefix + "lum_data");
    regs->addressIs(3, prefix + "lum_ctl_addr_data");
    mapping->regsIs((p + 1) * portsPerProcessor * entriesPerPort - 1, regs);
  }
  declareHwTable(0, name, state, 0, ports * entriesPerPort - 1, mapping);
  if (state == TableState::init) initHwEntries(resetHw);
}

void ArpConvertor::handleInitialized() {
  hwStaticWordIs(1, staticMask);
  hwStaticWordIs(3, staticMask);
}

void ArpConvertor::setStaticBuffer(HwIndex index, U32* buffer) {
  // Row address: bit 9 = which of the processor's two ports, bits 6..1 = rewrite index,
  // bit 0 = first or second half of the row; bits 7 and 8 stay 0.
  U32 address = (((index >> 6) & 1u) << 9) | ((index & 0x3Fu) << 1);
  buffer[1] = (buffer[1] & ~(rowAddressMask | rowConstantBit)) | (address << rowAddressShift) |
              rowConstantBit;
  buffer[3] = (buffer[3] & ~(rowAddressMask | rowConstantBit)) |
              ((address + 1) << rowAddressShift) | rowConstantBit;
}

HwIndex ArpConvertor::hwIndexFromKey(const ArpKey& key) const {
  return (HwIndex(key.egressPort.value()) << 6) + key.rewriteIndex.value();
}

ArpKey ArpConvertor::keyFromHwIndex(HwIndex index) const {
  return ArpKey(TarnSwitch::ChipPortId(index >> 6), ArpRewriteIndex(index & 0x3Fu));
}

void ArpConvertor::encodeResult(const ArpResult& result, U32* buffer) const {
  U64 mac = result.ethAddr.toU64();
  buffer[0] = U32(mac >> 16);
  buffer[2] = (U32(mac & 0xFFFFu) << 16) | result.vlanId.value();
  buffer[1] = (buffer[1] & ~lowControlBits) | (TarnSwitch::parity32Bit(buffer[0]) ? parityBit : 0);
  buffer[3] = (buffer[3] & ~lowControlBits) | (TarnSwitch::parity32Bit(buffer[2]) ? parityBit : 0);
}

ArpResult ArpConvertor::decodeResult(const U32* words) const {
  Bridging::VlanIdOrNone vlan(words[2] & 0xFFFFu);
  U64 mac = (U64(words[0]) << 16) | (words[2] >> 16);
  return ArpResult(Lanx::EthAddr::fromU64(mac), vlan);
}

}  // namespace TarnSwitchTable

#include "TarnSwitchTable/TarnTableArp.h"

#include "TarnSwitch/Parity.h"

namespace TarnSwitchTable {
namespace {

// Bits 13..4 hold the 10-bit row address and bit 14 is always set, in words 1 and 3.
constexpr U32 rowAddressShift = 4;
constexpr U32 rowAddressMask = 0x3FFu << rowAddressShift;
constexpr U32 rowConstantBit = 1u << 14;
constexpr U32 parityBit = 1u << 3;
constexpr U32 lowControlBits = 0xFu;  // parity and the three zero bits below it

}  // namespace

template class DirectTable<ArpLayout>;
template class DirectConvertor<ArpLayout>;

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

ArpLayout::ArpLayout(const TarnSwitch::ChipProfile& profile) : ports(profile.portCount) {
  if (ports == 0) throw Fen::RangeException("the ARP table needs a profile with ports");
}

void ArpLayout::declare(const HwTables& hw) const {
  const std::string name = hw.name();
  auto mapping = Fen::makePtr<TarnSwitchApi::HwTableRegisterMappingRange>(name);
  for (U32 p = 0; p < ports / portsPerProcessor; ++p) {
    mapping->regsIs(
        (p + 1) * portsPerProcessor * entriesPerPort - 1,
        rowRegisters("egress/processor[" + std::to_string(p) + "]/",
                     {"lum_data", "lum_ctl_addr_data", "lum_data", "lum_ctl_addr_data"}));
  }
  hw.copyIs(0, name, 0, ports * entriesPerPort - 1, mapping);
}

HwIndex ArpLayout::hwIndexFromKey(const ArpKey& key) const {
  return (HwIndex(key.egressPort.value()) << 6) + key.rewriteIndex.value();
}

ArpKey ArpLayout::keyFromHwIndex(HwIndex index) const {
  return ArpKey(TarnSwitch::ChipPortId(index >> 6), ArpRewriteIndex(index & 0x3Fu));
}

void ArpLayout::setStaticBuffer(HwIndex index, U32* buffer) const {
  // Row address: bit 9 = which of the processor's two ports, bits 6..1 = rewrite index,
  // bit 0 = first or second half of the row; bits 7 and 8 stay 0.
  const U32 address = (((index >> 6) & 1u) << 9) | ((index & 0x3Fu) << 1);
  const U32 cleared = ~(rowAddressMask | rowConstantBit);
  buffer[1] = (buffer[1] & cleared) | (address << rowAddressShift) | rowConstantBit;
  buffer[3] = (buffer[3] & cleared) | ((address + 1) << rowAddressShift) | rowConstantBit;
}

void ArpLayout::encodeResult(const ArpResult& result, U32* buffer) const {
  const U64 mac = result.ethAddr.toU64();
  buffer[0] = U32(mac >> 16);
  buffer[2] = (U32(mac & 0xFFFFu) << 16) | result.vlanId.value();
  buffer[1] = (buffer[1] & ~lowControlBits) | (TarnSwitch::parity32Bit(buffer[0]) ? parityBit : 0);
  buffer[3] = (buffer[3] & ~lowControlBits) | (TarnSwitch::parity32Bit(buffer[2]) ? parityBit : 0);
}

ArpResult ArpLayout::decodeResult(const U32* words) const {
  Bridging::VlanIdOrNone vlan(words[2] & 0xFFFFu);
  const U64 mac = (U64(words[0]) << 16) | (words[2] >> 16);
  return ArpResult(Lanx::EthAddr::fromU64(mac), vlan);
}

}  // namespace TarnSwitchTable

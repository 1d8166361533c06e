// ARP table: the direct-table suite on both built-in profiles, then the ARP row layout, register
// names, value text forms, range messages and module registration.
#include <gtest/gtest.h>

#include <functional>

#include "DirectTableSuite.h"
#include "TarnSwitchTable/TarnTableArp.h"

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;

const std::string portMessage =
    "TarnSwitch::ChipPortId::value < TarnSwitch::ChipPortId::min or > "
    "TarnSwitch::ChipPortId::null not allowed";

ArpResult mac(U64 address, unsigned vlan) {
  return ArpResult(Lanx::EthAddr::fromU64(address), vlan);
}

// The suite on the "default" chip (48 ports) and the "legacy" one (24 ports): ports from the
// count up to the null port 49 are keys without a row.
template <unsigned Ports>
struct ArpTraits {
  using Table = ArpTable;
  static Fen::Ptr<ArpTable> makeTable() { return arpTableFactory("arp"); }
  static std::string profile() { return Ports == 48 ? "default" : "legacy"; }
  static std::vector<ArpKey> sampleKeys() {
    return {{0, 0}, {1, 63}, {2, 0}, {3, 5}, {Ports - 1, 63}};
  }
  static std::vector<ArpKey> outsideKeys() { return {{Ports, 0}, {49, 63}}; }
  // Distinct per n and never empty (the MAC is never zero).
  static ArpResult result(unsigned n) { return mac(0x020000000000ull + n * 0x10203ull, n * 7); }
};

}  // namespace

using ArpProfiles = ::testing::Types<ArpTraits<48>, ArpTraits<24>>;
INSTANTIATE_TYPED_TEST_SUITE_P(Arp, DirectTableSuite, ArpProfiles);

namespace {

using ArpOnChip = OnChip<ArpTable>;

// The ARP table's single hardware table.
TarnSwitchApi::HwTableConfig& hw(const ArpOnChip& arp) {
  return *arp.chip->hwTable("arp.Arp");
}

// Worked rows on both profiles: the last row and no register past it; key -> row -> processor
// registers; the exact words of an entry (row address in bits 13..4 with bit 14 set, even parity
// of words 0 and 2 in bit 3 of words 1 and 3) and of its deleted row. (Row 197 of the default
// chip, words and registers, is the tool tests' encode case.)
TEST(ArpTable, KeysRowsRegistersAndExactWords) {
  struct Case {
    const char* profile;
    U32 port, rewrite, index, processor, vlan;
    U64 mac;
    Words words;
  };
  const Case cases[] = {
      {"default", 0, 0, 0, 0, 3, 0x000000010000, {0x00000001, 0x4008, 0x00000003, 0x4010}},
      {"default", 1, 63, 127, 0, 9, 0x0a0b0c0d0e0f, {0x0a0b0c0d, 0x67E0, 0x0e0f0009, 0x67F8}},
      {"default", 2, 0, 128, 1, 9, 0x0a0b0c0d0e0f, {0x0a0b0c0d, 0x4000, 0x0e0f0009, 0x4018}},
      {"default", 47, 63, 3071, 23, 4094, 0xFFFFFFFEFFFF, {0xFFFFFFFE, 0x67E8, 0xFFFF0FFE, 0x67F8}},
      {"legacy", 21, 63, 1407, 10, 1, 0x00000000FFFF, {0x00000000, 0x67E0, 0xFFFF0001, 0x67F8}},
      {"legacy", 22, 0, 1408, 11, 2, 0x800000000001, {0x80000000, 0x4008, 0x00010002, 0x4010}},
  };
  const std::map<std::string, U32> rows{{"default", 3072}, {"legacy", 1536}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.profile) + " row " + std::to_string(c.index));
    ArpOnChip arp(arpTableFactory("arp"), c.profile);
    EXPECT_EQ(arp.conv().descriptor(0)->upper(), rows.at(c.profile) - 1);
    EXPECT_EQ(hw(arp).registerName(rows.at(c.profile), 0), "") << "no processor past the end";
    const ArpKey key(c.port, c.rewrite);
    arp.table().entryIs(key, mac(c.mac, c.vlan));
    EXPECT_EQ(rowWords(hw(arp), c.index, 4), c.words);
    const std::string p = "egress/processor[" + std::to_string(c.processor) + "]/";
    for (unsigned w = 0; w < 4; ++w)
      EXPECT_EQ(hw(arp).registerName(c.index, w), p + (w % 2 ? "lum_ctl_addr_data" : "lum_data"));
    arp.table().entryDel(key);  // zero MAC and VLAN, both parities 0, the address bits kept
    EXPECT_EQ(rowWords(hw(arp), c.index, 4), (Words{0, c.words[1] & ~0xFu, 0, c.words[3] & ~0xFu}));
  }
}

TEST(ArpTable, RowIsEmptyOnlyWhenMacAndVlanAreBothZero) {
  ArpOnChip arp(arpTableFactory("arp"));
  const std::map<ArpKey, ArpResult> kept{{{0, 1}, mac(0, 5)}, {{0, 2}, mac(1, 0)}};
  for (const auto& [k, r] : kept) arp.table().entryIs(k, r);
  arp.table().entryIs(ArpKey(0, 3), ArpResult());
  // A warm restart adopts the rows that read valid: not the all-zero one.
  EXPECT_EQ(startTable(arpTableFactory("arp"), arp.chip, StartMode::warm).table->entry().map(),
            kept);
}

TEST(ArpTable, OutOfRangeValuesRaiseTheirTypesMessages) {
  ArpOnChip arp(arpTableFactory("arp"));
  auto& conv = arp.conv();
  EXPECT_EQ(conv.keyFromHwIndex(49 * 64 + 63), ArpKey(49, 63)) << "the null port is a key";
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[&] { conv.keyFromHwIndex(50 * 64); }, portMessage},
      {[&] { conv.nullDirectEntry(50 * 64); }, portMessage},
      {[&] { conv.decodeHwEntry(50 * 64); }, portMessage},
      {[] { ArpKey(0, 64); }, "TarnSwitchTable::ArpKey::rewriteIndex::value > 63 not allowed"},
  };
  for (const auto& [f, message] : cases) EXPECT_EQ(thrownMessage<Fen::RangeException>(f), message);
  // The VLAN field read back is 16 bits wide: 4094 decodes, anything above raises.
  for (U32 vlan : {0xFFEu, 0xFFFu, 0x1000u, 0xFFFFu}) {
    plantRow(hw(arp), 2, {0, 0x4020, vlan, 0x4030});
    EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { conv.decodeHwEntry(2); }),
              vlan == 0xFFE ? "<no exception raised>"
                            : "Bridging::VlanIdOrNone::value > 4094 not allowed")
        << vlan;
  }
}

// (The key and result text forms are pinned where the tool prints them; they parse back through
// the framework's value text, whose round trip the framework tests check, and the MAC address
// text, the chip tests'.)
TEST(ArpValues, AnAbsentEntryIsNull) {
  EXPECT_EQ(entryText(Fen::Ptr<ArpEntry>()), "NULL");
}

// A row convertor with a chosen word count, to check the bound the engines put on it.
struct WordCountConvertor : RowConvertor {
  WordCountConvertor(ArpTable* table, U8 words) : RowConvertor(table, words, directBaseTrace()) {}
  void doCreateHwTables(TableState, bool) override {}
};

TEST(RowConvertor, MoreThanEightWordsRaiseTheDataArrayIndexMessage) {
  auto table = arpTableFactory("arp");
  EXPECT_EQ(Fen::makePtr<WordCountConvertor>(table.ptr(), 8)->hwEntryWords(), 8);
  EXPECT_EQ(
      thrownMessage<Fen::RangeException>([&] { Fen::makePtr<WordCountConvertor>(table.ptr(), 9); }),
      "TarnSwitchApi::DataArrayIndex::value < TarnSwitchApi::DataArrayIndex::min or > "
      "TarnSwitchApi::DataArrayIndex::max not allowed");
}

}  // namespace
}  // namespace TarnTest

// ARP table: the direct-table suite on both built-in profiles, then the ARP row layout, register
// names, value text forms, range messages and module registration.
#include <gtest/gtest.h>

#include "DirectTableSuite.h"
#include "Fen/Registry.h"
#include "TarnSwitchTable/TarnTableArp.h"

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;
using Fen::U32;
using Fen::U64;
using Lanx::EthAddr;

const std::string portMessage =
    "TarnSwitch::ChipPortId::value < TarnSwitch::ChipPortId::min or > "
    "TarnSwitch::ChipPortId::null not allowed";
const std::string rewriteMessage = "TarnSwitchTable::ArpKey::rewriteIndex::value > 63 not allowed";
const std::string vlanMessage = "Bridging::VlanIdOrNone::value > 4094 not allowed";

struct ArpTraits {
  using Table = ArpTable;
  using Entry = ArpEntry;
  static Fen::Ptr<ArpTable> makeTable() { return arpTableFactory("arp"); }
  static std::string hwTableWord() { return "Arp"; }
  // Distinct per n and never empty (the MAC is never zero).
  static ArpResult result(unsigned n) {
    return ArpResult(EthAddr::fromU64(0x020000000000ull + U64(n) * 0x10203ull), (n * 7) % 4095);
  }
  static constexpr unsigned copies = 1;  // one table; processors differ by register only
};

// 48 ports: port 48 and the null port 49 are keys without a row.
struct ArpOnDefaultChip : ArpTraits {
  static std::string profile() { return "default"; }
  static std::vector<ArpKey> sampleKeys() { return {{0, 0}, {1, 63}, {2, 0}, {3, 5}, {47, 63}}; }
  static std::vector<ArpKey> outsideKeys() { return {{48, 0}, {49, 63}}; }
};

// 24 ports: every port from 24 up has no row.
struct ArpOnLegacyChip : ArpTraits {
  static std::string profile() { return "legacy"; }
  static std::vector<ArpKey> sampleKeys() { return {{0, 0}, {1, 63}, {2, 0}, {13, 9}, {23, 63}}; }
  static std::vector<ArpKey> outsideKeys() { return {{24, 0}, {47, 5}}; }
};

}  // namespace

using ArpProfiles = ::testing::Types<ArpOnDefaultChip, ArpOnLegacyChip>;
INSTANTIATE_TYPED_TEST_SUITE_P(Arp, DirectTableSuite, ArpProfiles);

namespace {

struct ArpOnChip {
  ChipPtr chip;
  Fen::Ptr<ArpTable> table;
  ArpConvertor& conv() const { return static_cast<ArpConvertor&>(*table->profileConvertor()); }
  TarnSwitchApi::HwTableConfig& hw() const { return *chip->hwTable("arp.Arp"); }
};

ArpOnChip coldArp(const std::string& profile = "default") {
  ChipPtr chip = makeChip(profile);
  return ArpOnChip{chip, startTable(arpTableFactory("arp"), chip, StartMode::cold).table};
}

ArpResult mac(U64 address, unsigned vlan) {
  return ArpResult(EthAddr::fromU64(address), vlan);
}

TEST(ArpTable, KeyGivesTheRowAndTheRowItsProcessorRegisters) {
  struct Case {
    unsigned port, rewrite;
    TarnSwitchApi::HwIndex index;
    const char* processor;
    U32 address;  // row address of the first half (word 1)
  };
  const Case cases[] = {
      {0, 0, 0, "egress/processor[0]/", 0x000},       {1, 63, 127, "egress/processor[0]/", 0x27E},
      {2, 0, 128, "egress/processor[1]/", 0x000},     {3, 5, 197, "egress/processor[1]/", 0x20A},
      {47, 63, 3071, "egress/processor[23]/", 0x27E},
  };
  ArpOnChip arp = coldArp();
  EXPECT_EQ(arp.conv().descriptor(0)->lower(), 0u);
  EXPECT_EQ(arp.conv().descriptor(0)->upper(), 3071u);
  WriteLog log(*arp.chip);
  for (const Case& c : cases) {
    SCOPED_TRACE("port " + std::to_string(c.port) + " rewrite " + std::to_string(c.rewrite));
    const ArpKey key(c.port, c.rewrite);
    EXPECT_EQ(arp.conv().hwIndexFromKey(key), c.index);
    EXPECT_EQ(arp.conv().keyFromHwIndex(c.index), key);
    log.clear();
    arp.table->entryIs(key, mac(0x0a0b0c0d0e0f, 9));
    ASSERT_EQ(log.writes().size(), 1u);
    const auto& row = log.writes()[0].row;
    EXPECT_EQ(log.writes()[0].table, "arp.Arp");
    EXPECT_EQ(row.index(), c.index);
    for (unsigned w = 0; w < 4; ++w) {
      EXPECT_EQ(arp.hw().registerName(c.index, w),
                std::string(c.processor) + (w % 2 ? "lum_ctl_addr_data" : "lum_data"));
    }
    EXPECT_EQ((row.data(1) >> 4) & 0x3FF, c.address);
    EXPECT_EQ((row.data(3) >> 4) & 0x3FF, c.address + 1);
    EXPECT_EQ(row.data(1) & 0x4000u, 0x4000u);
    EXPECT_EQ(row.data(3) & 0x4000u, 0x4000u);
  }
}

TEST(ArpTable, ExactWordsOfAnEntryAndOfItsDeletedRow) {
  struct Case {
    unsigned port, rewrite;
    U64 mac;
    unsigned vlan;
    Words words;
  };
  const Case cases[] = {
      // both parity bits set: word 0 has 5 ones, word 2 has 7
      {3, 5, 0x010203040506, 7, {0x01020304, 0x000060A8, 0x05060007, 0x000060B8}},
      // word 0 odd (bit 3 of word 1 set), word 2 even (bit 3 of word 3 clear)
      {0, 1, 0x000000010000, 3, {0x00000001, 0x00004028, 0x00000003, 0x00004030}},
      // last row of the chip, highest VLAN; 31 and 27 ones
      {47, 63, 0xFFFFFFFEFFFF, 4094, {0xFFFFFFFE, 0x000067E8, 0xFFFF0FFE, 0x000067F8}},
  };
  ArpOnChip arp = coldArp();
  for (const Case& c : cases) {
    SCOPED_TRACE("port " + std::to_string(c.port) + " rewrite " + std::to_string(c.rewrite));
    const ArpKey key(c.port, c.rewrite);
    const auto index = arp.conv().hwIndexFromKey(key);
    arp.table->entryIs(key, mac(c.mac, c.vlan));
    EXPECT_EQ(rowWords(arp.hw(), index, 4), c.words);
    auto decoded = arp.conv().decodeHwEntry(index);
    const auto& entry = static_cast<const ArpEntry&>(*decoded);
    EXPECT_TRUE(entry.valid);
    EXPECT_EQ(entry.key, key);
    EXPECT_EQ(entry.result, mac(c.mac, c.vlan));

    // Bits 31..15 of the control words are kept from the buffer the encoder is given.
    U32 buffer[4] = {0, 0xFFFF8000u, 0, 0xFFFF8000u};
    arp.conv().setHwBuffer(decoded, buffer);
    EXPECT_EQ(buffer[1], c.words[1] | 0xFFFF8000u);
    EXPECT_EQ(buffer[3], c.words[3] | 0xFFFF8000u);

    // The deleted row: zero MAC and VLAN, both parities 0, the static address bits kept.
    arp.table->entryDel(key);
    EXPECT_EQ(rowWords(arp.hw(), index, 4), (Words{0, c.words[1] & ~0xFu, 0, c.words[3] & ~0xFu}));
  }
}

TEST(ArpTable, RowIsEmptyOnlyWhenMacAndVlanAreBothZero) {
  const std::map<ArpKey, ArpResult> entries{{{0, 1}, mac(0, 5)}, {{0, 2}, mac(1, 0)}};
  verifyAcrossWarmRestart(
      [] { return arpTableFactory("arp"); },
      [&](ArpTable& t) {
        for (const auto& [k, r] : entries) t.entryIs(k, r);
      },
      [&](ArpTable& t, TarnSwitchApi::HwTableCollection&) {
        EXPECT_TRUE(t.profileConvertor()->decodeHwEntry(1)->valid) << "MAC 0, VLAN 5";
        EXPECT_TRUE(t.profileConvertor()->decodeHwEntry(2)->valid) << "MAC 1, VLAN 0";
        EXPECT_FALSE(t.profileConvertor()->decodeHwEntry(3)->valid) << "MAC 0, VLAN 0";
        EXPECT_EQ(t.entry().map(), entries);
      });

  // An entry whose result is all zero is indistinguishable from an empty row: a warm restart
  // cannot see it.
  ArpOnChip arp = coldArp();
  arp.table->entryIs(ArpKey(0, 3), ArpResult());
  EXPECT_FALSE(arp.conv().decodeHwEntry(3)->valid);
  auto warm = startTable(arpTableFactory("arp"), arp.chip, StartMode::warm);
  EXPECT_TRUE(warm.table->entry().map().empty());
}

TEST(ArpTable, OutOfRangeValuesRaiseTheirTypesMessages) {
  ArpOnChip arp = coldArp();
  auto& conv = arp.conv();
  EXPECT_EQ(conv.keyFromHwIndex(49 * 64 + 63), ArpKey(49, 63)) << "the null port is a key";
  EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { conv.keyFromHwIndex(50 * 64); }), portMessage);
  EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { conv.nullDirectEntry(50 * 64); }),
            portMessage);
  EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { conv.decodeHwEntry(50 * 64); }), portMessage);
  EXPECT_EQ(thrownMessage<Fen::RangeException>([] { ArpKey(50, 0); }), portMessage);
  EXPECT_EQ(thrownMessage<Fen::RangeException>([] { ArpKey(0, 64); }), rewriteMessage);
  EXPECT_EQ(thrownMessage<Fen::RangeException>([] {
              ArpKey::fromText(
                  "Value('TarnSwitchTable::ArpKey', ** {'egressPort': 0, "
                  "'rewriteIndex': 64})");
            }),
            rewriteMessage);
  EXPECT_EQ(thrownMessage<Fen::RangeException>([] { ArpResult(EthAddr(), 4095); }), vlanMessage);

  // The VLAN field read back is 16 bits wide: 4094 decodes, anything above raises.
  for (U32 vlan : {0xFFEu, 0xFFFu, 0x1000u, 0xFFFFu}) {
    TarnSwitchApi::HwEntryConfig row(2);
    const U32 words[4] = {0, 0x4020, vlan, 0x4030};
    row.dataArrayIs(words, 4);
    arp.hw().entryIs(row);
    if (vlan == 0xFFE) {
      EXPECT_EQ(static_cast<const ArpEntry&>(*conv.decodeHwEntry(2)).result.vlanId.value(), 4094);
    } else {
      EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { conv.decodeHwEntry(2); }), vlanMessage)
          << vlan;
    }
  }
}

TEST(ArpTable, LegacyChipHas24PortsOnTwelveProcessors) {
  ChipPtr chip = makeChip("legacy");
  auto started = startTable(arpTableFactory("arp"), chip, StartMode::cold);
  const auto& desc = *started.table->profileConvertor()->descriptor(0);
  EXPECT_EQ(desc.lower(), 0u);
  EXPECT_EQ(desc.upper(), 1535u);
  EXPECT_EQ(started.writes, 1536u);
  const auto& hw = *chip->hwTable("arp.Arp");
  EXPECT_EQ(hw.registerName(1407, 1), "egress/processor[10]/lum_ctl_addr_data");
  EXPECT_EQ(hw.registerName(1408, 0), "egress/processor[11]/lum_data");
  EXPECT_EQ(hw.registerName(1535, 3), "egress/processor[11]/lum_ctl_addr_data");
  EXPECT_EQ(hw.registerName(1536, 0), "") << "no processor 12";
}

TEST(ArpValues, TextFormsAndBuildingBack) {
  const ArpKey key(3, 5);
  const ArpResult result = mac(0x001122334455, 10);
  const std::string keyText =
      "Value('TarnSwitchTable::ArpKey', ** {'egressPort': 3, 'rewriteIndex': 5})";
  const std::string resultText =
      "Value('TarnSwitchTable::ArpResult', ** {'ethAddr': 00:11:22:33:44:55, 'vlanId': 10})";
  EXPECT_EQ(key.toStrep(), keyText);
  EXPECT_EQ(result.toStrep(), resultText);
  EXPECT_EQ(result.resultString(), resultText);
  EXPECT_EQ(ArpKey::fromText(keyText), key);
  EXPECT_EQ(ArpResult::fromText(resultText), result);

  auto entry = arpEntryFactory(key);
  EXPECT_EQ(entryText(entry),
            "Value('TarnSwitchTable::ArpEntry', ** {'valid': false, 'egressPort': 3, "
            "'rewriteIndex': 5, 'ethAddr': 00:00:00:00:00:00, 'vlanId': 0})");
  entry->valid = true;
  entry->result = result;
  EXPECT_EQ(entryText(entry),
            "Value('TarnSwitchTable::ArpEntry', ** {'valid': true, 'egressPort': 3, "
            "'rewriteIndex': 5, 'ethAddr': 00:11:22:33:44:55, 'vlanId': 10})");
  EXPECT_EQ(entryText(Fen::Ptr<ArpEntry>()), "NULL");

  EXPECT_EQ(
      thrownMessage<Fen::TextFormException>([] {
        ArpKey::fromText("Value('TarnSwitchTable::ArpKey', ** {'port': 3, 'rewriteIndex': 5})");
      }),
      "\"'egressPort': \", instead got 'port': 3, 'rewriteIndex': 5})");
  EXPECT_EQ(thrownMessage<Fen::TextFormException>([&] { ArpKey::fromText(resultText); }),
            "\"Value('TarnSwitchTable::ArpKey', ** {\", instead got " + resultText);
}

TEST(ArpValues, HashMixesEachFieldAtItsWidthAndOrderIsFieldWise) {
  EXPECT_EQ(ArpKey(3, 5).hash(7), Fen::hashMix(Fen::hashMix(7, 3, 2), 5, 1));
  EXPECT_EQ(mac(0x001122334455, 10).hash(7),
            Fen::hashMix(Fen::hashMix(7, 0x001122334455, 6), 10, 2));
  EXPECT_LT(ArpKey(1, 63), ArpKey(2, 0));
  EXPECT_LT(ArpKey(2, 0), ArpKey(2, 1));
  EXPECT_LT(mac(1, 4094), mac(2, 0));
}

TEST(ArpModule, IsRegisteredWithAWorkingFactoryAndNamedAttributes) {
  const Fen::Registry& registry = Fen::Registry::instance();
  ASSERT_NE(registry.module("TarnTableArp"), nullptr);
  const Fen::ClassInfo* tableClass = registry.classInfo("TarnSwitchTable::ArpTable");
  ASSERT_NE(tableClass, nullptr);
  ASSERT_TRUE(tableClass->factory);
  EXPECT_EQ(tableClass->kind, "table");

  auto table = Fen::ptrDynamicCast<ArpTable>(tableClass->factory("viaRegistry"));
  ASSERT_TRUE(table);
  EXPECT_EQ(table->name(), "viaRegistry");
  ChipPtr chip = makeChip();
  startTable(table, chip, StartMode::cold);
  table->entryIs(ArpKey(3, 5), mac(0x010203040506, 7));
  EXPECT_EQ(rowWords(*chip->hwTable("viaRegistry.Arp"), 197, 4),
            (Words{0x01020304, 0x000060A8, 0x05060007, 0x000060B8}));

  const Fen::ClassInfo* keyClass = registry.classInfo(tableClass->keyClass);
  const Fen::ClassInfo* resultClass = registry.classInfo(tableClass->resultClass);
  ASSERT_NE(keyClass, nullptr);
  ASSERT_NE(resultClass, nullptr);
  auto names = [](const Fen::ClassInfo& c) {
    std::vector<std::string> out;
    for (const auto& a : c.attributes) out.push_back(a.name);
    return out;
  };
  EXPECT_EQ(names(*keyClass), (std::vector<std::string>{"egressPort", "rewriteIndex"}));
  EXPECT_EQ(names(*resultClass), (std::vector<std::string>{"ethAddr", "vlanId"}));

  // Generic access by attribute name, as tools use it.
  ArpKey key;
  keyClass->attribute("egressPort")->parse(&key, "3");
  keyClass->attribute("rewriteIndex")->parse(&key, "5");
  EXPECT_EQ(key, ArpKey(3, 5));
  ArpResult result;
  resultClass->attribute("ethAddr")->parse(&result, "00:11:22:33:44:55");
  EXPECT_EQ(resultClass->attribute("ethAddr")->print(&result), "00:11:22:33:44:55");
  EXPECT_EQ(thrownMessage<Fen::RangeException>(
                [&] { keyClass->attribute("rewriteIndex")->parse(&key, "64"); }),
            rewriteMessage);
}

// A convertor with a configurable word count, to check the bound the engine puts on it.
class WordCountConvertor : public DirectConvertor<ArpEntry> {
 public:
  WordCountConvertor(ArpTable* table, U8 words) : DirectConvertor(table, words) {}
  void doCreateHwTables(TableState, bool) override {}
  void setStaticBuffer(HwIndex, U32*) override {}
  HwIndex hwIndexFromKey(const ArpKey&) const override { return 0; }
  ArpKey keyFromHwIndex(HwIndex) const override { return ArpKey(); }
  void encodeResult(const ArpResult&, U32*) const override {}
  ArpResult decodeResult(const U32*) const override { return ArpResult(); }
};

TEST(DirectConvertor, WordNumbersAboveSevenRaiseTheDataArrayIndexMessage) {
  const std::string message =
      "TarnSwitchApi::DataArrayIndex::value < TarnSwitchApi::DataArrayIndex::min or > "
      "TarnSwitchApi::DataArrayIndex::max not allowed";
  auto table = arpTableFactory("arp");
  EXPECT_EQ(Fen::makePtr<WordCountConvertor>(table.ptr(), 8)->hwEntryWords(), 8);
  EXPECT_EQ(Fen::makePtr<WordCountConvertor>(table.ptr(), 0)->hwEntryWords(), 0);
  EXPECT_EQ(
      thrownMessage<Fen::RangeException>([&] { Fen::makePtr<WordCountConvertor>(table.ptr(), 9); }),
      message);

  // A static word numbered 8 raises the same message once a row is repaired.
  ArpOnChip arp = coldArp();
  arp.conv().hwStaticWordIs(8, 1);
  EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { arp.conv().sanitizeEntry(0); }), message);
}

}  // namespace
}  // namespace TarnTest

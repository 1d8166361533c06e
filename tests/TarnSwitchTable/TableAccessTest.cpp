// Type-erased entry access and the rows the library means hardware to hold (expectedHwRow), on
// the ARP table reached through the registry as a tool reaches it.
#include <gtest/gtest.h>

#include <random>

#include "Fen/Registry.h"
#include "TarnSwitchTable/TarnTableArp.h"
#include "support/Chip.h"

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;

// The ARP table built by its registered factory and started cold, with its access interface.
struct RegisteredArp {
  Fen::Ptr<Fen::PtrInterface> object;
  EntryAccess* access = nullptr;
  ArpTable* table = nullptr;
  ChipPtr chip = makeChip("default");

  RegisteredArp() {
    const Fen::ClassInfo* c = Fen::Registry::instance().classInfo("TarnSwitchTable::ArpTable");
    EXPECT_NE(Fen::Registry::instance().module("TarnTableArp"), nullptr);
    object = c->factory("arp");
    access = dynamic_cast<EntryAccess*>(object.ptr());
    table = dynamic_cast<ArpTable*>(object.ptr());
    TarnSwitchApi::startSwTable(*table, chip, StartMode::cold);
  }
  // Sets one field of the scratch key or result through the registered attributes.
  void field(const char* valueClass, const char* name, const char* text) {
    const Fen::ClassInfo* c = Fen::Registry::instance().classInfo(valueClass);
    bool key = std::string(valueClass) == access->keyTypeName();
    c->attribute(name)->parse(key ? access->scratchKey() : access->scratchResult(), text);
  }
};

// Entries set, changed and deleted through the registered fields, listed in key order.
TEST(TableAccessTest, RegisteredFieldsSetAndDeleteEntriesListedInKeyOrder) {
  RegisteredArp arp;
  ASSERT_NE(arp.access, nullptr);
  EXPECT_STREQ(arp.access->keyTypeName(), "TarnSwitchTable::ArpKey");
  EXPECT_STREQ(arp.access->resultTypeName(), "TarnSwitchTable::ArpResult");
  for (const char* port : {"7", "3", "7"}) {  // the second 7 finds its stored result
    arp.access->scratchReset();
    arp.field("TarnSwitchTable::ArpKey", "egressPort", port);
    arp.field("TarnSwitchTable::ArpKey", "rewriteIndex", "5");
    const bool loaded = arp.access->scratchResultLoad();
    EXPECT_EQ(loaded, arp.access->entryCount() == 2);
    if (!loaded) arp.field("TarnSwitchTable::ArpResult", "vlanId", "10");
    arp.access->scratchEntryIs();
  }
  EXPECT_EQ(static_cast<ArpResult*>(arp.access->scratchResult())->vlanId, 10u);
  std::vector<std::string> listed;
  arp.access->entryForEach(
      [&](const void* k, const void* r) { listed.push_back(arp.access->entryStrep(k, r)); });
  EXPECT_EQ(listed.size(), 2u);
  EXPECT_EQ(listed[0],
            "Value('TarnSwitchTable::ArpKey', ** {'egressPort': 3, 'rewriteIndex': 5}) "
            "Value('TarnSwitchTable::ArpResult', ** {'ethAddr': 00:00:00:00:00:00, 'vlanId': 10})");
  arp.access->scratchEntryDel();
  EXPECT_EQ(arp.table->entry(ArpKey(7, 5)), nullptr);
  EXPECT_EQ(arp.access->entryCount(), 1u);
  arp.access->accessEntryDelAll();
  EXPECT_EQ(arp.access->entryCount(), 0u);
  EXPECT_EQ(Fen::ptrDynamicCast<ArpTable>(
                Fen::Registry::instance().classInfo("TarnSwitchTable::ArpTable")->factory("x"))
                ->name(),
            "x");
}

TEST(TableAccessTest, DecodeRowTextReadsAnyCopyAndNamesAMissingOne) {
  RegisteredArp arp;
  arp.table->entryIs(ArpKey(3, 5), ArpResult(Lanx::EthAddr::fromU64(0x001122334455ull), 20));
  EXPECT_EQ(arp.access->decodeRowText(0, 197),
            "Value('TarnSwitchTable::ArpEntry', ** {'valid': true, 'egressPort': 3, "
            "'rewriteIndex': 5, 'ethAddr': 00:11:22:33:44:55, 'vlanId': 20})");
  EXPECT_EQ(arp.access->decodeRowText(0, 0),
            "Value('TarnSwitchTable::ArpEntry', ** {'valid': false, 'egressPort': 0, "
            "'rewriteIndex': 0, 'ethAddr': 00:00:00:00:00:00, 'vlanId': 0})");
  EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { arp.access->decodeRowText(1, 0); }),
            "hardware table 1 of arp does not exist (copies 0..0)");
  EXPECT_THROW(arp.access->decodeRowText(0, 3072), TarnSwitchApi::HwIndexException);
}

}  // namespace
}  // namespace TarnTest

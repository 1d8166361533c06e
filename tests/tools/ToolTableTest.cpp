// The tool's field paths and JSON dump on a test-only registered table whose result holds fixed
// arrays: elements are set as "hops[1]" and "weights[0].cost", listed back as script lines and
// dumped as JSON arrays.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "Dump.h"
#include "Errors.h"
#include "Fen/Collection.h"
#include "Session.h"
#include "TarnSwitchTable/TarnTableAccess.h"
#include "TarnSwitchTable/TarnTableModules.h"
#include "ToolTable.h"
#include "support/Chip.h"

namespace {

using Fen::U16;
using Fen::U8;
using Strings = std::vector<std::string>;
using Attributes = std::vector<Fen::AttributeInfo>;
using ::testing::ThrowsMessage;

struct HopKey : Fen::Value<HopKey> {
  U16 id = 0;
  static constexpr const char* fenTypeName = "ToolTest::HopKey";
  static constexpr auto fenFields() { return std::make_tuple(Fen::field("id", &HopKey::id)); }
};

struct Weight : Fen::Value<Weight> {
  U8 w = 0;
  U16 cost = 0;
  static constexpr const char* fenTypeName = "ToolTest::Weight";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("w", &Weight::w), Fen::field("cost", &Weight::cost));
  }
};

struct HopResult : Fen::Value<HopResult> {
  std::array<U16, 3> hops{};
  std::array<Weight, 2> weights{};
  static constexpr const char* fenTypeName = "ToolTest::HopResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("hops", &HopResult::hops),
                           Fen::field("weights", &HopResult::weights));
  }
};

// A software-only table: entries kept in key order, no hardware copies.
struct HopTable : TarnSwitchApi::SwTable,
                  TarnSwitchTable::EntryAccessImpl<HopTable, HopKey, HopResult> {
  explicit HopTable(const std::string& name) : SwTable(name) {}
  void doSetProfileConvertor(Fen::Ptr<TarnSwitchApi::HwTableDescriptorConfig>,
                             Fen::Ptr<TarnSwitchApi::HwTableCollection>) override {}
  std::string decodeRowText(TarnSwitchApi::HwTableId, TarnSwitchApi::HwIndex) override {
    return "";
  }
  const Fen::KeyedCollection<HopKey, HopResult>& entry() const { return entries; }
  void entryIs(const HopKey& k, const HopResult& r) { entries.set(k, r); }
  void entryDel(const HopKey& k) { entries.del(k); }
  void entryDelAll() { entries = {}; }
  Fen::KeyedCollection<HopKey, HopResult> entries;
};

Fen::Ptr<Fen::PtrInterface> makeHopTable(const std::string& name) {
  return Fen::makePtr<HopTable>(name);
}
const Fen::ModuleRegistrar registrar(Fen::ModuleInfo{
    "ToolTableTestModule",
    {Fen::valueClassInfo<HopKey>(), Fen::valueClassInfo<HopResult>(),
     Fen::ClassInfo{"ToolTest::HopTable", "table", Attributes(), &makeHopTable, HopKey::fenTypeName,
                    HopResult::fenTypeName}}});

// Each form of path is set once (the listing shows where it landed) and refused texts name the
// field; the lines list every leaf in declaration order.
TEST(ToolTableTest, ArrayElementsAreFieldsByIndexListedAsScriptLinesAndDumpedAsJsonArrays) {
  Tarnctl::ToolTable t(*Fen::Registry::instance().classInfo("ToolTest::HopTable"));
  t.start(TarnTest::makeChip(), TarnSwitchApi::StartMode::cold);
  t.set({"id=4", "hops[1]=7", "weights[0].cost=300", "weights[1].w=9"});
  t.set({"id=4", "hops[2]=0xFFFF"});  // the other elements keep their values
  t.set({"id=5", "hops=[1, 2, 3]", "weights[1]=Value('ToolTest::Weight', ** {'w': 1, 'cost': 2})"});
  const std::vector<std::pair<std::string_view, std::string>> bad = {
      {"hops[0]=65536", "hop: hops[0]=65536: U16::value > 65535 not allowed"},
      {"hops=[1, 2]", "hop: hops=[1, 2]: U16[3] takes 3 elements, got 2"},
      {"weights[1].w=256", "hop: weights[1].w=256: U8::value > 255 not allowed"},
      {"hops[1]=1", "field 'hops[1]' given twice"},
      {"hops[3]=1",
       "unknown field 'hops[3]' of table hop (fields: id, hops[0], hops[1], hops[2], "
       "weights[0].w, weights[0].cost, weights[1].w, weights[1].cost)"}};
  for (const auto& [field, message] : bad) {
    const std::vector<std::string_view> fields{"id=4", "hops[1]=1", field};
    EXPECT_THAT([&] { t.set(fields); }, ThrowsMessage<Tarnctl::ToolError>(message));
  }
  Strings lines, json;
  t.access().entryForEach([&](const void* k, const void* r) {
    lines.push_back(t.scriptLine(k, r));
    json.push_back(Tarnctl::valueJson(t.resultClass().attributes, r).dump());
  });
  EXPECT_EQ(lines, (Strings{"set hop id=4 hops[0]=0 hops[1]=7 hops[2]=65535 weights[0].w=0 "
                            "weights[0].cost=300 weights[1].w=9 weights[1].cost=0",
                            "set hop id=5 hops[0]=1 hops[1]=2 hops[2]=3 weights[0].w=0 "
                            "weights[0].cost=0 weights[1].w=1 weights[1].cost=2"}));
  EXPECT_EQ(json,
            (Strings{R"({"hops":[0,7,65535],"weights":[{"w":0,"cost":300},{"w":9,"cost":0}]})",
                     R"({"hops":[1,2,3],"weights":[{"w":0,"cost":0},{"w":1,"cost":2}]})"}));
}

// A session of selected tables builds each once; a registered table left out is named with the
// tables of the run (an unregistered name is the tool tests' --tables case).
TEST(ToolTableTest, SessionBuildsOnlyTheSelectedTablesAndNamesThemWhenAskedForAnother) {
  TarnSwitchTable::registerModules();
  Tarnctl::Session s(TarnTest::makeChip(), {"hop", "ToolTest::HopTable"});
  ASSERT_EQ(s.tables().size(), 1u);
  EXPECT_EQ(&s.table("ToolTest::HopTable"), s.tables()[0].get());
  EXPECT_THAT([&] { s.table("arp"); },
              ThrowsMessage<Tarnctl::ToolError>("table 'arp' is not in this run (tables: hop)"));
}

}  // namespace

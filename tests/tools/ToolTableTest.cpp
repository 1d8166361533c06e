// The tool's field paths and JSON dump on a test-only registered table whose result holds fixed
// arrays: elements are set as "hops[1]" and "weights[0].cost", listed back as script lines that
// rebuild the entry, and dumped as JSON arrays.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <sstream>

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
using ::testing::StartsWith;
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

Fen::ClassInfo hopTableClass() {
  Fen::ClassInfo c;
  c.name = "ToolTest::HopTable";
  c.kind = "table";
  c.factory = [](const std::string& name) -> Fen::Ptr<Fen::PtrInterface> {
    return Fen::makePtr<HopTable>(name);
  };
  c.keyClass = HopKey::fenTypeName;
  c.resultClass = HopResult::fenTypeName;
  return c;
}

const Fen::ModuleRegistrar registrar(Fen::ModuleInfo{
    "ToolTableTestModule",
    {Fen::valueClassInfo<HopKey>(), Fen::valueClassInfo<HopResult>(), hopTableClass()}});

TEST(ToolTableTest, ArrayElementsAreFieldsByIndexListedAsScriptLinesAndDumpedAsJsonArrays) {
  Tarnctl::ToolTable t(*Fen::Registry::instance().classInfo("ToolTest::HopTable"));
  std::vector<std::string> paths;
  for (const auto& p : t.fields()) paths.push_back(p.path + (p.leaf ? "" : "/"));
  EXPECT_EQ(paths,
            (std::vector<std::string>{"id", "hops/", "hops[0]", "hops[1]", "hops[2]", "weights/",
                                      "weights[0]/", "weights[0].w", "weights[0].cost",
                                      "weights[1]/", "weights[1].w", "weights[1].cost"}));
  t.start(TarnTest::makeChip(), TarnSwitchApi::StartMode::cold);
  t.set({"id=4", "hops[1]=7", "weights[0].cost=300"});
  t.set({"id=4", "hops[2]=0xFFFF"});  // the other elements keep their values
  t.set({"id=5", "hops=[1, 2, 3]", "weights[1]=Value('ToolTest::Weight', ** {'w': 1, 'cost': 2})"});
  const std::vector<std::pair<std::string, std::string>> bad = {
      {"hops[0]=65536", "hop: hops[0]=65536: U16::value > 65535 not allowed"},
      {"hops=[1, 2]", "hop: hops=[1, 2]: U16[3] takes 3 elements, got 2"},
      {"weights[1].w=256", "hop: weights[1].w=256: U8::value > 255 not allowed"},
      {"hops[1]=1", "field 'hops[1]' given twice"},
      {"hops[3]=1",
       "unknown field 'hops[3]' of table hop (fields: id, hops[0], hops[1], hops[2], "
       "weights[0].w, weights[0].cost, weights[1].w, weights[1].cost)"}};
  for (const auto& [field, message] : bad) {
    EXPECT_THAT(
        [&] {
          t.set({"id=4", "hops[1]=1", field});
        },
        ThrowsMessage<Tarnctl::ToolError>(message));
  }

  std::vector<std::string> lines;
  std::vector<Tarnctl::Json> json;
  t.access().entryForEach([&](const void* k, const void* r) {
    lines.push_back(t.scriptLine(k, r));
    json.push_back(Tarnctl::valueJson(t.resultClass().attributes, r));
  });
  EXPECT_EQ(lines, (std::vector<std::string>{
                       "set hop id=4 hops[0]=0 hops[1]=7 hops[2]=65535 weights[0].w=0 "
                       "weights[0].cost=300 weights[1].w=0 weights[1].cost=0",
                       "set hop id=5 hops[0]=1 hops[1]=2 hops[2]=3 weights[0].w=0 "
                       "weights[0].cost=0 weights[1].w=1 weights[1].cost=2"}));
  EXPECT_EQ(json[0].dump(),
            R"({"hops":[0,7,65535],"weights":[{"w":0,"cost":300},{"w":0,"cost":0}]})");
  EXPECT_EQ(json[1].dump(), R"({"hops":[1,2,3],"weights":[{"w":0,"cost":0},{"w":1,"cost":2}]})");

  // The listed lines rebuild the same entries on a fresh table.
  Tarnctl::ToolTable copy(t.tableClass());
  copy.start(TarnTest::makeChip(), TarnSwitchApi::StartMode::cold);
  for (const auto& line : lines) {
    std::istringstream in(line.substr(std::string("set hop ").size()));
    const std::vector<std::string> fields{std::istream_iterator<std::string>(in), {}};
    copy.set({fields.begin(), fields.end()});
  }
  std::vector<std::string> relisted;
  copy.access().entryForEach(
      [&](const void* k, const void* r) { relisted.push_back(copy.scriptLine(k, r)); });
  EXPECT_EQ(relisted, lines);
}

// A session of selected tables builds each once; a registered table left out is named with the
// tables of the run, an unregistered name with the registered tables.
TEST(ToolTableTest, SessionBuildsOnlyTheSelectedTablesAndNamesThemWhenAskedForAnother) {
  TarnSwitchTable::registerModules();
  Tarnctl::Session s(TarnTest::makeChip(), {"hop", "ToolTest::HopTable"});
  ASSERT_EQ(s.tables().size(), 1u);
  EXPECT_EQ(&s.table("ToolTest::HopTable"), s.tables()[0].get());
  EXPECT_THAT([&] { s.table("arp"); },
              ThrowsMessage<Tarnctl::ToolError>("table 'arp' is not in this run (tables: hop)"));
  EXPECT_THAT(
      [] {
        Tarnctl::Session(TarnTest::makeChip(), {"hop", "nosuch"});
      },
      ThrowsMessage<Tarnctl::ToolError>(StartsWith("unknown table 'nosuch' (tables: ")));
}

}  // namespace

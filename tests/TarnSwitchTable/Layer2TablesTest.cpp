// The Layer-2 tables: the Layer-2 suite for each on both built-in profiles, then rows worked out
// by hand from each table's layout (exact words, copies and register names, on the built-in
// profiles and on small chips of 4 ports per pipeline), defaults read back, value text forms,
// refusals and traces.
#include <gtest/gtest.h>

#include <functional>
#include <tuple>
#include <type_traits>

#include "Layer2TableSuite.h"
#include "TarnSwitchTable/TarnTableFloodSet.h"
#include "TarnSwitchTable/TarnTableL2Control.h"
#include "TarnSwitchTable/TarnTableLagGroup.h"
#include "TarnSwitchTable/TarnTableLagLookUp.h"
#include "TarnSwitchTable/TarnTableNativeVlan.h"
#include "TarnSwitchTable/TarnTablePortConfig.h"

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;
using Mode = PortConfigMode;

const std::string portMessage =
    "TarnSwitch::ChipPortId::value < TarnSwitch::ChipPortId::min or > "
    "TarnSwitch::ChipPortId::null not allowed";

// Distinct non-default results per member that hardware holds whole, for the suite.
struct Results {
  static PortConfigResult of(const PortConfigKey&, unsigned n) {
    return PortConfigResult(n % 2 ? Mode::qinq : Mode::trunk, n & 2, n & 4);
  }
  static L2ControlResult of(const L2ControlKey&, unsigned n) {
    return L2ControlResult((n + 1) & 1, (n + 1) & 2, (n + 1) & 4);
  }
  static NativeVlanResult of(const NativeVlanKey&, unsigned n) {
    return NativeVlanResult(100 + n, n & 1, n % 8);
  }
  static LagGroupResult of(const LagGroupKey&, unsigned n) { return LagGroupResult(n + 1); }
  static LagLookUpResult of(const LagLookUpKey&, unsigned n) { return LagLookUpResult(n); }
  static FloodSetEntry of(const Bridging::VlanId& vlan, unsigned n) {
    return FloodSetEntry(vlan, {(0x100ull << n) | 1u, 0x5ull + n});  // read back with time 0
  }
};

template <class T, bool Legacy>
struct Traits {
  using Table = T;
  static Fen::Ptr<T> makeTable() { return Fen::makePtr<T>("l2"); }
  static std::string profile() { return Legacy ? "legacy" : "default"; }
  // Ports 3, 13, 22 and 23 exist on both built-in chips and lie in both pipelines of the smaller.
  static typename T::Key key(unsigned n) {
    const U16 ports[] = {3, 13, 22, 23}, vlans[] = {1, 100, 2000, 4094};
    if constexpr (std::is_same_v<T, FloodSetTable>) return Bridging::VlanId(vlans[n]);
    return typename T::Key(ports[n]);
  }
  static typename T::Result result(const typename T::Key& k, unsigned n) {
    return Results::of(k, n);
  }
};

template <bool Legacy>
using Members = ::testing::Types<Traits<PortConfigTable, Legacy>, Traits<L2ControlTable, Legacy>,
                                 Traits<FloodSetTable, Legacy>, Traits<NativeVlanTable, Legacy>,
                                 Traits<LagGroupTable, Legacy>, Traits<LagLookUpTable, Legacy>>;

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Default, Layer2TableSuite, Members<false>);
INSTANTIATE_TYPED_TEST_SUITE_P(Legacy, Layer2TableSuite, Members<true>);

namespace {

// A chip of N ports in K pipelines of P ports each, of revision 2 and without a CPU pipeline.
ChipPtr chipOf(U16 ports, U8 pipelines, U8 perPipeline) {
  TarnSwitch::ChipProfile p;
  p.name = "small";
  p.portCount = ports;
  p.pipelineCount = pipelines;
  p.portsPerPipeline = perPipeline;
  p.revision = 2;
  return Fen::makePtr<TarnSwitchApi::HwTableCollection>(p);
}

// A row of copy `id` with its exact words and the registers they go to.
struct RowWant {
  TarnSwitchApi::HwTableId id;
  Words words;
  std::vector<std::string> registers;
};

// One entry on one chip: the rows setting it writes (the only writes), copies without its row,
// and the words its delete leaves in the same rows.
template <class T>
struct Case {
  ChipPtr chip;
  typename T::Key key;
  typename T::Result result;
  std::vector<RowWant> rows;
  std::vector<TarnSwitchApi::HwTableId> without;
  std::vector<Words> deleted;
};

// The words the chip stores at a row, as many as it stores.
Words stored(const TarnSwitchApi::HwTableConfig& hw, HwIndex index) {
  const auto* row = hw.storedEntry(index);
  return row ? rowWords(hw, index, row->words()) : Words{};
}

template <class T>
void expectCases(const std::vector<Case<T>>& cases) {
  for (const Case<T>& c : cases) {
    SCOPED_TRACE(Fen::printText(c.key) + " on " + c.chip->profile().name);
    auto s = startTable(Fen::makePtr<T>("l2"), c.chip, StartMode::cold);
    auto& conv = *s.table->profileConvertor();
    const HwIndex index = conv.layout().hwIndexFromKey(c.key);
    s.table->entryIs(c.key, c.result);
    EXPECT_EQ(c.chip->writeCount() - s.writes, c.rows.size());
    for (const RowWant& r : c.rows) {
      const TarnSwitchApi::HwTableConfig& hw = *conv.hwTable(r.id);
      EXPECT_EQ(stored(hw, index), r.words) << hw.name();
      for (unsigned w = 0; w < r.registers.size(); ++w)
        EXPECT_EQ(hw.registerName(index, w), r.registers[w]) << hw.name() << " word " << w;
      EXPECT_EQ(hw.registerName(index, r.registers.size()), "") << hw.name();
    }
    for (auto id : c.without) {
      const auto* copy = conv.copy(id);
      EXPECT_TRUE(!copy || !copy->holds(index)) << "copy " << id << " holds the row";
    }
    s.table->entryDel(c.key);
    for (std::size_t i = 0; i < c.rows.size(); ++i)
      EXPECT_EQ(stored(*conv.hwTable(c.rows[i].id), index), c.deleted[i]);
  }
}

// The registers of a row: prefix + each name.
std::vector<std::string> regs(const std::string& prefix, std::vector<std::string> names) {
  for (auto& n : names) n = prefix + n;
  return names;
}

// clang-format off
TEST(PortConfigTable, WordsAndRegisterByRevision) {
  expectCases<PortConfigTable>({
      {makeChip("default"), PortConfigKey(7), {Mode::trunk, true, false},
       {{0, {0x4, 0, 0, 0}, {"egress/port[7]/vlan_cfg"}}}, {}, {{1, 0, 0, 0}}},
      {makeChip("legacy"), PortConfigKey(23), {Mode::qinq, false, true},
       {{0, {0xA, 0, 0, 0}, {"egress/port[23]/cfg"}}}, {}, {{1, 0, 0, 0}}},
      // A mode without a name keeps its low two bits.
      {makeChip("default"), PortConfigKey(0), {Mode(7), true, true},
       {{0, {0xF, 0, 0, 0}, {"egress/port[0]/vlan_cfg"}}}, {}, {{1, 0, 0, 0}}},
  });
}

TEST(L2ControlTable, WordAndPipelinePortRegister) {
  expectCases<L2ControlTable>({
      {makeChip("default"), L2ControlKey(9), {true, false, true},
       {{0, {0x5}, {"pipeline[0]/port[9]/l2_control"}}}, {}, {{0}}},
      {makeChip("legacy"), L2ControlKey(23), {false, true, false},
       {{0, {0x2}, {"pipeline[1]/port[11]/l2_control"}}}, {}, {{0}}},
      {chipOf(16, 4, 4), L2ControlKey(9), {true, true, true},
       {{0, {0x7}, {"pipeline[2]/port[1]/l2_control"}}}, {}, {{0}}},
  });
}

TEST(NativeVlanTable, TagControlWordAndRegisterByRevision) {
  expectCases<NativeVlanTable>({
      {makeChip("default"), NativeVlanKey(5), {100, 1, 5},
       {{0, {0xB064, 0, 0, 0}, {"egress/port[5]/vlan_tci"}}}, {}, {{1, 0, 0, 0}}},
      // dei keeps bit 0, pcp its low three bits.
      {makeChip("legacy"), NativeVlanKey(14), {4094, 3, 13},
       {{0, {0xBFFE, 0, 0, 0}, {"pipeline[1]/port[2]/default_vlan"}}}, {}, {{1, 0, 0, 0}}},
      {makeChip("default"), NativeVlanKey(47), {0, 0, 7},
       {{0, {0xE000, 0, 0, 0}, {"egress/port[47]/vlan_tci"}}}, {}, {{1, 0, 0, 0}}},
  });
}

// Masks cut to the port count and packed one after the other, the VLAN field with bit 15 set in
// word 4; a CPU copy only where the chip has a CPU pipeline.
TEST(FloodSetTable, PackedMasksInEveryCopy) {
  const std::vector<std::string> names{"floodset_data0", "floodset_data1", "floodset_data2",
                                       "floodset_data3", "floodset_ctl"};
  const Words vlan100{0x00000001, 0x0001FFFF, 0x80000000, 0, 0x8064};
  const Words vlan4094{0x01FFFFFF, 0x00008000, 0, 0, 0x8FFE};
  std::vector<RowWant> rows;
  for (unsigned p = 0; p < 4; ++p)
    rows.push_back({p, vlan100, regs("pipeline[" + std::to_string(p) + "]/processor/", names)});
  rows.push_back({4, vlan100, regs("cpu_pipeline[0]/processor/", names)});
  expectCases<FloodSetTable>({
      {makeChip("default"), Bridging::VlanId(100),
       FloodSetEntry(100, {0x0004FFFF00000001ull, 0x0000800000000001ull}), rows, {},
       std::vector<Words>(5, {0, 0, 0, 0, 0x8064})},
      {makeChip("legacy"), Bridging::VlanId(4094), FloodSetEntry(4094, {0x1FFFFFF, 0x800001}),
       {{0, vlan4094, regs("pipeline[0]/processor/", names)},
        {1, vlan4094, regs("pipeline[1]/processor/", names)}},
       {2}, std::vector<Words>(2, {0, 0, 0, 0, 0x8FFE})},
  });
}

// Ingress copies hold their own ports (group, then the port's selector with bit 31 set); the
// CPU copy holds every port as the group alone.
TEST(LagGroupTable, OwnPipelineAndCpuCopies) {
  const auto ingress = regs("pipeline[1]/processor/", {"lag_group_data0", "lag_ctl"});
  const std::vector<std::string> cpu{"cpu_pipeline[0]/lag_cpu[0]/lag_group_data0"};
  expectCases<LagGroupTable>({
      {makeChip("default"), LagGroupKey(13), LagGroupResult(7),
       {{1, {7, 0x80000002}, ingress}, {4, {7}, cpu}}, {0, 2, 3}, {{0, 0x80000002}, {0}}},
      {chipOf(12, 2, 4), LagGroupKey(6), LagGroupResult(0xABCD),
       {{1, {0xABCD, 0x80000004}, ingress}, {2, {0xABCD}, cpu}}, {0}, {{0, 0x80000004}, {0}}},
      // Port 9 lies past the last pipeline: the CPU copy alone.
      {chipOf(12, 2, 4), LagGroupKey(9), LagGroupResult(3), {{2, {3}, cpu}}, {0, 1}, {{0}}},
  });
}

// Every copy holds every port, in the look-up table of its pipeline, capped at the last.
TEST(LagLookUpTable, EveryCopyWithTheCappedLookUpTable) {
  const std::vector<std::string> names{"lag_lut_data0", "lag_lut_ctl"};
  std::vector<RowWant> rows;
  for (unsigned c = 0; c < 4; ++c)
    rows.push_back({c, {0x1234, 0x800}, regs("pipeline[" + std::to_string(c) + "]/lag_lut[3]/", names)});
  rows.push_back({4, {0x1234, 0x800}, regs("cpu_pipeline[0]/lag_lut[3]/", names)});
  expectCases<LagLookUpTable>({
      {makeChip("default"), LagLookUpKey(47), LagLookUpResult(0x1234), rows, {},
       std::vector<Words>(5, {0xFF, 0x800})},
      {chipOf(12, 2, 4), LagLookUpKey(9), LagLookUpResult(0),
       {{0, {0, 2}, regs("pipeline[0]/lag_lut[1]/", names)},
        {1, {0, 2}, regs("pipeline[1]/lag_lut[1]/", names)},
        {2, {0, 2}, regs("cpu_pipeline[0]/lag_lut[1]/", names)}},
       {}, std::vector<Words>(3, {0xFF, 2})},
  });
}
// clang-format on

// The convertor's per-copy writes: a port's own pipeline copy alone (nothing for a port of no
// pipeline), or the CPU copy alone.
TEST(LagGroupTable, PipelineAndCpuWritesReachOneCopyEach) {
  auto s = startTable(lagGroupTableFactory("l2"), chipOf(12, 2, 4), StartMode::cold);
  auto& conv = *s.table->profileConvertor();
  conv.ingressPipelineHwTableEntryIs(LagGroupKey(6), LagGroupResult(5));
  EXPECT_EQ(rowWords(*conv.hwTable(1), 6, 2), (Words{5, 0x80000004}));
  EXPECT_EQ(rowWords(*conv.hwTable(2), 6, 1), Words{0});
  conv.cpuPipelineHwTableEntryIs(LagGroupKey(6), LagGroupResult(5));
  EXPECT_EQ(rowWords(*conv.hwTable(2), 6, 1), Words{5});
  const U64 before = conv.hwTableCollection()->writeCount();
  conv.ingressPipelineHwTableEntryIs(LagGroupKey(9), LagGroupResult(5));  // no pipeline: nothing
  EXPECT_EQ(conv.hwTableCollection()->writeCount(), before);
}

// An ingress copy is compared on word 0 alone, so damage to its word 1 is never rewritten: the
// rows check expects hold that word as it stands, across warm restarts that write nothing.
TEST(LagGroupTable, UncomparedWordIsExpectedAsHeld) {
  ChipPtr chip = makeChip("default");
  auto s = startTable(lagGroupTableFactory("l2"), chip, StartMode::cold);
  s.table->entryIs(LagGroupKey(13), LagGroupResult(7));
  auto* copy = s.table->profileConvertor()->hwTable(1);
  const Words damaged{7, rowWords(*copy, 13, 2)[1] ^ 0x100u};
  plantRow(*copy, 13, damaged);
  for (Restart how : {Restart::warm, Restart::warmKeep}) {
    auto fresh = lagGroupTableFactory("l2");
    EXPECT_EQ(restartTable(fresh, s.table.ptr(), chip, how).writes, 0u);
    U32 words[TarnSwitchApi::hwEntryMaxWords] = {};
    ASSERT_EQ(fresh->profileConvertor()->expectedHwRow(1, 13, words), 2u);
    EXPECT_EQ((Words{words[0], words[1]}), damaged);
    EXPECT_EQ(rowWords(*copy, 13, 2), damaged);
    s.table = fresh;
  }
}

// Whether a warm restart adopts port 3 (VLAN 3) when every copy holds `words` there.
template <class T>
std::size_t adoptedFrom(const Words& words) {
  ChipPtr chip = makeChip("default");
  auto s = startTable(Fen::makePtr<T>("l2"), chip, StartMode::cold);
  for (const auto& c : s.table->profileConvertor()->copies())
    if (c.holds(3)) plantRow(*c.table, 3, words);
  return startTable(Fen::makePtr<T>("l2"), chip, StartMode::warm).table->entry().size();
}

// Rows that read back as the default, whatever their other bits, create no entry at a warm
// restart; one bit of data more does.
TEST(Layer2Tables, RowsReadingAsTheDefaultCreateNoEntry) {
  const std::tuple<const char*, std::size_t, std::size_t> cases[] = {
      {"PortConfig", adoptedFrom<PortConfigTable>({0xFFFFFFF1, 7, 7, 7}),
       adoptedFrom<PortConfigTable>({0, 0, 0, 0})},
      {"L2Control", adoptedFrom<L2ControlTable>({0xFFFFFFF8}), adoptedFrom<L2ControlTable>({1})},
      {"NativeVlan", adoptedFrom<NativeVlanTable>({0xFFFF0001, 9, 9, 9}),
       adoptedFrom<NativeVlanTable>({0x2001, 0, 0, 0})},
      {"FloodSet", adoptedFrom<FloodSetTable>({0, 0, 0, 0xFFFFFFFF, 0x7003}),
       adoptedFrom<FloodSetTable>({0, 0, 1, 0, 0x8003})},
      {"LagGroup", adoptedFrom<LagGroupTable>({0, 0xFFFF}), adoptedFrom<LagGroupTable>({9, 0})},
      {"LagLookUp", adoptedFrom<LagLookUpTable>({0xFF, 0}), adoptedFrom<LagLookUpTable>({0xFE, 8})},
  };
  for (const auto& [word, idle, live] : cases) {
    EXPECT_EQ(idle, 0u) << word;
    EXPECT_EQ(live, 1u) << word;
  }
}

TEST(Layer2Values, TextFormsShortFormsAndModes) {
  const PortConfigResult pc(Mode::trunk, true, false);
  EXPECT_EQ(pc.toStrep(),
            "Value('TarnSwitchTable::PortConfigResult', ** {'portMode': trunk, 'txDisabled': "
            "true, 'l2ForwardingDisabled': false})");
  EXPECT_EQ(pc.shortStrep(), "portMode:trunk txDisabled:true l2ForwardingDisabled:false");
  for (const auto& r : {pc, PortConfigResult(Mode(3), false, true), PortConfigResult()})
    EXPECT_EQ(PortConfigResult::fromText(r.toStrep()), r);
  EXPECT_EQ(Fen::printText(Mode(3)), "3");
  EXPECT_EQ(Fen::parseText<Mode>("qinq"), Mode::qinq);
  EXPECT_EQ(Fen::parseText<Mode>("2"), Mode::qinq);
  EXPECT_EQ(thrownMessage<Fen::TextFormException>([] { Fen::parseText<Mode>("bridge"); }),
            "\"trunk, access, qinq or a number\", instead got bridge");
  EXPECT_EQ(L2ControlResult(true, false, true).shortStrep(),
            "isMlag:true learnOnly:false learnDisabled:true");
  EXPECT_EQ(NativeVlanResult(100, 1, 5).shortStrep(), "vlan: 100 dei:0x1 pcp:0x5");
  EXPECT_EQ(LagGroupResult(7).shortStrep(), "0x07");
  EXPECT_EQ(LagLookUpResult().shortStrep(), "0xFF");
  const FloodSetEntry e(100, {0x30, 0x100000000000ull}, 1.5);
  EXPECT_EQ(e.toStrep(),
            "Value('TarnSwitchTable::FloodSetEntry', ** {'key': 100, 'result': "
            "Value('TarnSwitchTable::FloodSetResult', ** {'uucPortMask': 48, 'umcPortMask': "
            "17592186044416}), 'lastUpdate': 1.5})");
  EXPECT_EQ(FloodSetEntry::fromText(e.toStrep()), e);
  EXPECT_EQ(e.result.shortStrep(), "uucPortMask:0x000000000030 umcPortMask:0x100000000000");
}

// (A VLAN of 0 or 4095 is the framework tests' ranged-type case.)
TEST(Layer2Tables, RangeRefusals) {
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] {
         PortConfigKey::fromText("Value('TarnSwitchTable::PortConfigKey', ** {'portId': 50})");
       },
       portMessage},
      {[] { LagLookUpKey(50); }, portMessage},
      // A chip of 51 ports has a row past the last port id.
      {[] { startTable(l2ControlTableFactory("l2"), chipOf(51, 5, 12), StartMode::cold); },
       portMessage},
      {[] { startTable(lagGroupTableFactory("l2"), chipOf(8, 2, 0), StartMode::cold); },
       "profile 'small' has no ports per pipeline: ports cannot be placed in pipelines"},
      {[] { startTable(lagLookUpTableFactory("l2"), chipOf(8, 0, 4), StartMode::cold); },
       "profile 'small' has no ingress pipeline: no LAG look-up"},
      {[] { startTable(floodSetTableFactory("l2"), chipOf(8, 0, 4), StartMode::cold); },
       "profile 'small' has no pipeline: no flood set copy"},
  };
  for (const auto& [f, message] : cases) EXPECT_EQ(thrownMessage<Fen::RangeException>(f), message);
  // A stored VLAN field of 4095 stops the read-back.
  ChipPtr chip = makeChip("default");
  auto s = startTable(nativeVlanTableFactory("l2"), chip, StartMode::cold);
  plantRow(*s.table->profileConvertor()->hwTable(0), 2, {0x0FFF, 0, 0, 0});
  EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { s.table->profileConvertor()->syncEntries(); }),
            "Bridging::VlanIdOrNone::value > 4094 not allowed");
}

TEST(FloodSetDeathTest, SixtyFourPortsStopThePacker) {
  EXPECT_DEATH(startTable(floodSetTableFactory("l2"), chipOf(64, 4, 16), StartMode::cold),
               "len < 64");
}

// The read-back traces its signature and each copy that lacks a row, under the table's module;
// rewrites and adoptions also reach the ring trace.
TEST(Layer2Tables, ReadBackTracesMissingRowsPerCopy) {
  const std::string none =
      "100 Value('TarnSwitchTable::FloodSetEntry', ** {'key': 100, 'result': "
      "Value('TarnSwitchTable::FloodSetResult', ** {'uucPortMask': 0, 'umcPortMask': 0}), "
      "'lastUpdate': 0})";
  ChipPtr chip = makeChip("legacy");
  auto s = startTable(floodSetTableFactory("l2"), chip, StartMode::cold);
  s.table->profileConvertor()->hwTable(1)->entryDel(100);
  const auto lines =
      tracedLines("TarnTableFloodSet", 8, 9, [&] { s.table->profileConvertor()->syncEntries(); });
  // The copy that lacks the row disagrees over a default: it is written at once, from software.
  EXPECT_EQ(lines, (std::vector<std::string>{
                       "virtual void TarnSwitchTable::FloodSetConvertorLayer2All::syncEntries()",
                       "pipe 1 index 100 does not exist.", "Update entry in hardware " + none}));
  EXPECT_EQ(s.ring->lines(), std::vector<std::string>{"Update entry in hardware " + none});
  EXPECT_TRUE(s.table->hwInconsistentEntry(Bridging::VlanId(100)));
  EXPECT_EQ(rowWords(*s.table->profileConvertor()->hwTable(1), 100, 5),
            (Words{0, 0, 0, 0, 0x8064}));
  s.table->entryIs(FloodSetEntry(7, {0x3, 0}, 2.5));
  EXPECT_EQ(startTable(floodSetTableFactory("l2"), chip, StartMode::warm).ring->lines(),
            std::vector<std::string>{
                "Recovered sw table entry from HW 7 Value('TarnSwitchTable::FloodSetEntry', ** "
                "{'key': 7, 'result': Value('TarnSwitchTable::FloodSetResult', ** {'uucPortMask': "
                "3, 'umcPortMask': 0}), 'lastUpdate': 0})"})
      << "adopted with time 0";
}

}  // namespace
}  // namespace TarnTest

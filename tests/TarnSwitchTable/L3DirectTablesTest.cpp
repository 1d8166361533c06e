// The L3 LAG, L3 flood bitmap and L3 flood ARP tables: the direct-table suite on both built-in
// profiles, then rows worked out by hand from their layouts (exact words, copies and register
// names), where the three rows deliberately differ, and their range messages; the profiles the
// four layer-3 tables refuse.
#include <gtest/gtest.h>

#include <functional>

#include "DirectTableSuite.h"
#include "TarnSwitchTable/TarnTableL3FloodArp.h"
#include "TarnSwitchTable/TarnTableL3FloodBitmap.h"
#include "TarnSwitchTable/TarnTableL3Lag.h"
#include "TarnSwitchTable/TarnTableLpm11.h"
#include "TarnSwitchTable/TarnTableLpmTables.h"
#include "TarnSwitchTable/TarnTableSG.h"

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;
using TarnSwitch::IngressPortMask;

std::string profileOf(unsigned ports) {
  return ports == 48 ? "default" : "legacy";
}

// Masks that reach port P (the last port the L3 LAG row holds, the one the flood bitmap drops)
// and beyond, and results that differ in the priority bit alone.
template <unsigned Ports>
struct L3LagTraits {
  using Table = L3LagTable;
  static Fen::Ptr<L3LagTable> makeTable() { return l3LagTableFactory("l3lag"); }
  static std::string profile() { return profileOf(Ports); }
  static std::vector<TarnSwitch::L3LagIndex> sampleKeys() {
    return {TarnSwitch::L3LagIndex(0), TarnSwitch::L3LagIndex(55), TarnSwitch::L3LagIndex(1),
            TarnSwitch::L3LagIndex(30)};
  }
  static std::vector<TarnSwitch::L3LagIndex> outsideKeys() {
    return {TarnSwitch::L3LagIndex(56), TarnSwitch::L3LagIndex(57)};
  }
  static L3LagResult result(unsigned n) {
    return L3LagResult(IngressPortMask((1ull << Ports) | (n / 2 + 1)), n % 2 == 1);
  }
};

template <unsigned Ports>
struct L3FloodBitmapTraits {
  using Table = L3FloodBitmapTable;
  static Fen::Ptr<L3FloodBitmapTable> makeTable() {
    return l3FloodBitmapTableFactory("l3floodbitmap");
  }
  static std::string profile() { return profileOf(Ports); }
  static std::vector<TarnSwitch::L3FloodId> sampleKeys() {
    return {TarnSwitch::L3FloodId(0), TarnSwitch::L3FloodId(127), TarnSwitch::L3FloodId(64),
            TarnSwitch::L3FloodId(1)};
  }
  static std::vector<TarnSwitch::L3FloodId> outsideKeys() { return {TarnSwitch::L3FloodId(128)}; }
  static L3FloodBitmapResult result(unsigned n) {
    return L3FloodBitmapResult(IngressPortMask((1ull << (Ports - 1)) | n));
  }
};

template <unsigned Ports>
struct L3FloodArpTraits {
  using Table = L3FloodArpTable;
  static Fen::Ptr<L3FloodArpTable> makeTable() { return l3FloodArpTableFactory("l3floodarp"); }
  static std::string profile() { return profileOf(Ports); }
  static std::vector<TarnSwitch::L3FloodId> sampleKeys() {
    return {TarnSwitch::L3FloodId(0), TarnSwitch::L3FloodId(127), TarnSwitch::L3FloodId(5),
            TarnSwitch::L3FloodId(64)};
  }
  static std::vector<TarnSwitch::L3FloodId> outsideKeys() { return {TarnSwitch::L3FloodId(128)}; }
  static L3FloodArpResult result(unsigned n) {
    return L3FloodArpResult(Lanx::EthAddr::fromU64(0x020000000000ull + n * 0x10203ull), n * 5);
  }
};

}  // namespace

using L3DirectTables =
    ::testing::Types<L3LagTraits<48>, L3LagTraits<24>, L3FloodBitmapTraits<48>,
                     L3FloodBitmapTraits<24>, L3FloodArpTraits<48>, L3FloodArpTraits<24>>;
INSTANTIATE_TYPED_TEST_SUITE_P(L3, DirectTableSuite, L3DirectTables);

namespace {

// One hand-worked row: the profile, the key (a layer-3 identifier is its own row), the result
// and the words every copy holds.
template <class Result>
struct HandRow {
  const char* profile;
  HwIndex row;
  Result result;
  Words words;
};

// Sets each entry on a fresh chip and checks: the copies (their count, rows 0..last, names),
// the words of the row in every copy with its register names, a single write a copy, and the
// deleted row holding only its position bits.
template <class Table, class Result>
void expectHandRows(const std::function<Fen::Ptr<Table>()>& make,
                    const std::vector<HandRow<Result>>& rows, HwIndex last,
                    const std::function<unsigned(const std::string&)>& copies,
                    const std::function<std::string(unsigned, unsigned)>& registerOf) {
  for (const auto& c : rows) {
    SCOPED_TRACE(std::string(c.profile) + " row " + std::to_string(c.row));
    const ChipPtr chip = makeChip(c.profile);
    auto started = startTable(make(), chip, StartMode::cold);
    auto& conv = *started.table->profileConvertor();
    ASSERT_EQ(conv.copies().size(), copies(c.profile));
    const typename Table::Key key(c.row);
    started.table->entryIs(key, c.result);
    EXPECT_EQ(chip->writeCount() - started.writes, copies(c.profile));
    for (const Copy& copy : conv.copies()) {
      EXPECT_EQ(copy.table->name(),
                started.table->hwTableName(Table::Layout::hwTableWord, int(copy.id)));
      EXPECT_EQ(copy.lower, 0u);
      EXPECT_EQ(copy.upper, last);
      EXPECT_EQ(rowWords(*copy.table, c.row, Table::Layout::hwEntryWords), c.words);
      for (unsigned w = 0; w < c.words.size(); ++w)
        EXPECT_EQ(copy.table->registerName(c.row, w), registerOf(copy.id, w));
    }
    started.table->entryDel(key);
    Words empty(c.words.size(), 0);
    for (const auto& [word, mask] : conv.hwStaticWord()) empty[word] = c.words[word] & mask;
    for (const Copy& copy : conv.copies())
      EXPECT_EQ(rowWords(*copy.table, c.row, Table::Layout::hwEntryWords), empty);
  }
}

std::string l3IngressRegister(unsigned copy, unsigned word) {
  const char* names[] = {"hash_data0", "hash_data1", "hash_ctl"};
  return "ingress/processor_l3[" + std::to_string(copy) + "]/" + names[word];
}

// One copy per ingress pipeline: 4 on "default", 2 on "legacy".
unsigned pipelines(const std::string& profile) {
  return profile == "default" ? 4 : 2;
}

// Mask bits 0..P (P the port count), cpuPriority at P+1, even parity of words 0 and 1 at P+2;
// word 2 the index in bits 0..5 and 19 in bits 17..21.
TEST(L3LagTable, HandWorkedRows) {
  using Row = HandRow<L3LagResult>;
  const IngressPortMask all(~0ull);
  const std::vector<Row> rows = {
      {"default", 5, {IngressPortMask(0x3), true}, {0x3, 0x60000, 0x260005}},
      // cpuPriority alone: its bit and the parity bit it flips.
      {"default", 1, {IngressPortMask(0), true}, {0, 0x60000, 0x260001}},
      // Ports 0..48 of a full mask: 49 ones, odd parity; bits above P are not written.
      {"default", 55, {all, false}, {0xFFFFFFFF, 0x5FFFF, 0x260037}},
      {"legacy", 7, {IngressPortMask(0x1000001), true}, {0x7000001, 0, 0x260007}},
      {"legacy", 42, {all, false}, {0x5FFFFFF, 0, 0x26002A}},
  };
  expectHandRows<L3LagTable>([] { return l3LagTableFactory("l3lag"); }, rows, 55, pipelines,
                             l3IngressRegister);
}

// Mask bits 0..P-1 (port P never written), parity at P; word 2 the identifier in bits 0..6 and
// 21 in bits 17..21.
TEST(L3FloodBitmapTable, HandWorkedRows) {
  using Row = HandRow<L3FloodBitmapResult>;
  const auto mask = [](U64 m) { return L3FloodBitmapResult(IngressPortMask(m)); };
  const std::vector<Row> rows = {
      {"default", 127, mask(0x1000000000001), {0x1, 0x10000, 0x2A007F}},
      {"default", 9, mask(0x800000000003), {0x3, 0x18000, 0x2A0009}},
      {"legacy", 64, mask(0xFFFFFF), {0xFFFFFF, 0, 0x2A0040}},
      {"legacy", 3, mask(0x1000007), {0x1000007, 0, 0x2A0003}},
  };
  expectHandRows<L3FloodBitmapTable>([] { return l3FloodBitmapTableFactory("l3floodbitmap"); },
                                     rows, 127, pipelines, l3IngressRegister);
}

// Identifier k: memory addresses 2k + 128 (word 1), 2k + 640 (word 3), 2k + 129 (word 5) and
// 2k + 641 (word 7) in bits 4..13 with bit 14 set, parity of the data word before in bit 3;
// both banks hold the same data.
TEST(L3FloodArpTable, HandWorkedRows) {
  using Row = HandRow<L3FloodArpResult>;
  const auto mac = [](U64 m, unsigned vlan) {
    return L3FloodArpResult(Lanx::EthAddr::fromU64(m), vlan);
  };
  const std::vector<Row> rows = {
      {"default",
       0,
       mac(0x001122334455, 7),
       {0x00112233, 0x4800, 0x00112233, 0x6800, 0x44550007, 0x4818, 0x44550007, 0x6818}},
      {"default",
       127,
       mac(0x800000000000, 1),
       {0x80000000, 0x57E8, 0x80000000, 0x77E8, 0x00000001, 0x57F8, 0x00000001, 0x77F8}},
      {"legacy",
       5,
       mac(0xFFFFFFFFFFFF, 4094),
       {0xFFFFFFFF, 0x48A0, 0xFFFFFFFF, 0x68A0, 0xFFFF0FFE, 0x48B8, 0xFFFF0FFE, 0x68B8}},
  };
  const auto processors = [](const std::string& p) { return p == "default" ? 24u : 12u; };
  expectHandRows<L3FloodArpTable>([] { return l3FloodArpTableFactory("l3floodarp"); }, rows, 127,
                                  processors,
                                  [](unsigned copy, unsigned word) {
                                    return "egress/processor[" + std::to_string(copy) + "]/" +
                                           (word % 2 ? "lum_ctl_addr_data" : "lum_data");
                                  });
}

const std::string lagMessage =
    "TarnSwitch::L3LagIndex::value < TarnSwitch::L3LagIndex::min or > "
    "TarnSwitch::L3LagIndex::null not allowed";
const std::string floodMessage =
    "TarnSwitch::L3FloodId::value < TarnSwitch::L3FloodId::min or > "
    "TarnSwitch::L3FloodId::null not allowed";

// Rows past the last key raise the key type's message wherever a key is made from a row; the
// null keys are keys (without a row). A flood ARP VLAN read back above 4094 raises its message.
TEST(L3DirectTables, RangeMessagesOfKeysAndValuesReadBack) {
  const ChipPtr chip = makeChip();
  auto lag = startTable(l3LagTableFactory("l3lag"), chip, StartMode::cold);
  auto bitmap = startTable(l3FloodBitmapTableFactory("l3floodbitmap"), chip, StartMode::cold);
  auto arp = startTable(l3FloodArpTableFactory("l3floodarp"), chip, StartMode::cold);
  auto& lagConv = *lag.table->profileConvertor();
  auto& bitmapConv = *bitmap.table->profileConvertor();
  auto& arpConv = *arp.table->profileConvertor();
  EXPECT_EQ(lagConv.keyFromHwIndex(57), TarnSwitch::L3LagIndex(57));
  EXPECT_EQ(arpConv.keyFromHwIndex(128), TarnSwitch::L3FloodId(128));
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[&] { lagConv.keyFromHwIndex(58); }, lagMessage},
      {[&] { lagConv.nullDirectEntry(58); }, lagMessage},
      {[] { l3LagEntryFactory(58); }, lagMessage},
      {[&] { bitmapConv.nullDirectEntry(129); }, floodMessage},
      {[&] { arpConv.nullDirectEntry(129); }, floodMessage},
      {[] { TarnSwitch::L3FloodId(129); }, floodMessage},
  };
  for (const auto& [f, message] : cases) EXPECT_EQ(thrownMessage<Fen::RangeException>(f), message);
  for (U32 vlan : {0xFFEu, 0xFFFu, 0xFFFFu}) {
    plantRow(*arpConv.copies().front().table, 2,
             {0, 0x4840, 0, 0x6840, vlan, 0x4850, vlan, 0x6850});
    EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { arpConv.decodeHwEntry(2); }),
              vlan == 0xFFE ? "<no exception raised>"
                            : "Bridging::VlanIdOrNone::value > 4094 not allowed")
        << vlan;
  }
}

// Adopting a read-back item that holds no entry is a programming error: the process stops on
// the expression, in each of the three tables.
TEST(L3DirectTablesDeathTest, AdoptingAnItemWithoutAnEntryStops) {
  const ChipPtr chip = makeChip();
  auto lag = startTable(l3LagTableFactory("l3lag"), chip, StartMode::cold);
  auto bitmap = startTable(l3FloodBitmapTableFactory("l3floodbitmap"), chip, StartMode::cold);
  auto arp = startTable(l3FloodArpTableFactory("l3floodarp"), chip, StartMode::cold);
  const std::function<void()> adoptions[] = {
      [&] { lag.table->entryIsByDirectItem(lag.table->profileConvertor()->nullDirectEntry(5)); },
      [&] {
        bitmap.table->entryIsByDirectItem(bitmap.table->profileConvertor()->nullDirectEntry(127));
      },
      [&] { arp.table->entryIsByDirectItem(arp.table->profileConvertor()->nullDirectEntry(0)); },
  };
  for (const auto& adopt : adoptions) EXPECT_DEATH(adopt(), "item->valid\\(\\)");
}

// The lines `module` traces at `level` and below while `f` runs that begin with `prefix`.
template <class F>
std::vector<std::string> traced(const char* module, int level, const std::string& prefix, F&& f) {
  std::vector<std::string> lines;
  for (const auto& line : tracedLines(module, 0, level, f))
    if (line.rfind(prefix, 0) == 0) lines.push_back(line);
  return lines;
}

// Worked by hand: what the layer-3 tables trace when an entry is programmed and when rows are
// read back. The L3 tables key on the chip's ranged types, named by their tools field; direct
// and source-group entries print as "<class>(" ...; a stride table traces its valid rows alone.
TEST(L3DirectTables, TracesOfProgrammingAndReadBack) {
  using TarnSwitch::LpmKey;
  const ChipPtr chip = makeChip();
  auto lag = startTable(l3LagTableFactory("l3lag"), chip, StartMode::cold);
  auto bitmap = startTable(l3FloodBitmapTableFactory("l3floodbitmap"), chip, StartMode::cold);
  auto arp = startTable(l3FloodArpTableFactory("l3floodarp"), chip, StartMode::cold);
  auto lpm11 = startTable(lpm11TableFactory("lpm11"), chip, StartMode::cold);
  auto lpm14 = startTable(Lpm14TableIs("lpm14"), chip, StartMode::cold);
  auto sg = startTable(sGTableFactory("sg"), chip, StartMode::cold);
  const LpmKey key11(1, Lanx::Prefix(Lanx::Ip4Addr(0x0A000000u), 11));
  const LpmKey key14(0, Lanx::Prefix(Lanx::Ip4Addr(0x0A000000u), 12));
  const TarnSwitch::MrouteKey mroute(Lanx::Ip4Addr(0x0A000001u), Lanx::Ip4Addr(0xE0010203u), 5);
  const std::string lagEntry =
      "L3LagEntry({'valid': true, 'l3LagIndex': 5, 'portMask': 0x3, 'cpuPriority': true})";
  const std::string bitmapEntry =
      "L3FloodBitmapEntry({'valid': true, 'l3FloodId': 127, 'portMask': 0xff0})";
  const std::string arpEntry =
      "L3FloodArpEntry({'valid': true, 'l3FloodId': 0, 'ethAddr': 02:00:00:00:00:01, "
      "'vlanId': 10})";
  using Lines = std::vector<std::string>;
  EXPECT_EQ(traced("TarnTableL3Lag", 8, "",
                   [&] { lag.table->entryIs(5, L3LagResult(IngressPortMask(3), true)); }),
            (Lines{"void TarnSwitchTable::L3LagTable::handleEntry(const TarnSwitch::L3LagIndex&) 5",
                   "Programming Entry " + lagEntry}));
  EXPECT_EQ(traced("TarnTableL3Lag", 7, "Decoded",
                   [&] { lag.table->profileConvertor()->decodeHwEntry(5); }),
            Lines{"Decoded entry is " + lagEntry});
  EXPECT_EQ(
      traced("TarnTableL3FloodBitmap", 8, "",
             [&] { bitmap.table->entryIs(127, L3FloodBitmapResult(IngressPortMask(0xFF0))); }),
      (Lines{
          "void TarnSwitchTable::L3FloodBitmapTable::handleEntry(const TarnSwitch::L3FloodId&) 127",
          "Programming Entry " + bitmapEntry}));
  const L3FloodArpResult arpResult(Lanx::EthAddr::fromU64(0x020000000001ull), 10);
  EXPECT_EQ(
      traced("TarnTableL3FloodArp", 8, "", [&] { arp.table->entryIs(0, arpResult); }),
      (Lines{"void TarnSwitchTable::L3FloodArpTable::handleEntry(const TarnSwitch::L3FloodId&) 0",
             "Programming Entry " + arpEntry}));
  EXPECT_EQ(traced("TarnTableLpm11", 8, "Programming",
                   [&] { lpm11.table->entryIs(key11, Lpm11Result(EntryCellResult(), true)); }),
            Lines{"Programming Entry Lpm11Entry({'valid': true, 'vrfId': 1, 'prefix': 10.0.0.0/11, "
                  "'cellResult': " +
                  EntryCellResult().toStrep() + ", 'cpuTrap': true})"});
  EXPECT_EQ(traced("TarnTableSG", 8, "",
                   [&] { sg.table->entryIs(mroute, SGResult(3, IngressPortMask(1))); }),
            (Lines{"void TarnSwitchTable::SGTable::handleEntry(const TarnSwitch::MrouteKey&) " +
                       mroute.toStrep(),
                   "TarnSwitchTable::SGTableCuckooEntry::Ptr TarnSwitchTable::SGTable::"
                   "createHashItem(const TarnSwitch::MrouteKey&) " +
                       mroute.toStrep(),
                   "Programming Entry SGTableCuckooEntry({'valid': true, 'source': 10.0.0.1, "
                   "'group': 224.1.2.3, 'qualifier': 5, 'vlanGroupId': 3, 'portMask': 0x1})"}));
  // Every stride member traces its changes as the one implementation they share.
  EXPECT_EQ(
      traced("TarnTableLpmTables", 8, "void", [&] { lpm14.table->entryIs(key14, LpmResult()); }),
      Lines{"void TarnSwitchTable::LpmBaseTable::handleEntry(const TarnSwitch::LpmKey&) "
            "Value('TarnSwitch::LpmKey', ** {'vrfId': 0, 'prefix': 10.0.0.0/12})"});
  // Read back row by row, and by a warm restart of a new table on the same chip.
  const Lines decoded14{"Decoded valid entry is " +
                        Lpm14TableCuckooEntry::Item{true, key14, {}}.toStrep()};
  EXPECT_EQ(traced("TarnTableLpmTables", 7, "Decoded",
                   [&] {
                     for (HwIndex i = 0; i < 2048; ++i)
                       lpm14.table->profileConvertor()->decodeHwEntry(i);
                   }),
            decoded14);
  EXPECT_EQ(traced("TarnTableLpmTables", 7, "Decoded",
                   [&] { startTable(Lpm14TableIs("lpm14"), chip, StartMode::warm); }),
            decoded14);
  // The LPM tables also keep each programmed entry in the ring trace, the others do not.
  const std::string programming = "Programming Entry ";
  EXPECT_EQ(lpm11.table->ringTrace().count(programming + "Lpm11Entry({'valid': true"), 1u);
  EXPECT_EQ(lpm14.table->ringTrace().count(programming +
                                           Lpm14TableCuckooEntry::Item{true, key14, {}}.toStrep()),
            1u);
  EXPECT_EQ(lag.table->ringTrace().count(programming + "L3LagEntry"), 0u);
  EXPECT_EQ(sg.table->ringTrace().count(programming + "SGTableCuckooEntry"), 0u);
}

// A profile that gives a table no copy (a flood ARP table on one port: no egress processor; no
// ingress pipeline; the layer-3 processor tables on one pipeline) keeps it in software: it starts
// cold and warm and takes entries without writing a row. More ports than a row's mask holds are
// refused with the range exception when the table connects, before any row is written; the
// widest profiles each row holds start (the flood bitmap counts its ports modulo 256).
TEST(L3Tables, ProfilesWithoutACopyKeepTheTableInSoftwareAndTooManyPortsAreRefused) {
  const std::string none = "<no exception raised>", fits = "; a port mask of the row holds ";
  const struct {
    unsigned ports, pipelines;
    Fen::Ptr<TarnSwitchApi::SwTable> table;  // each started once, on a chip of its own
    std::string message;
    bool writes;
  } cases[] = {
      {1, 4, l3FloodArpTableFactory("t"), none, false},
      {48, 0, l3LagTableFactory("t"), none, false},
      {48, 0, l3FloodBitmapTableFactory("t"), none, false},
      {48, 1, sGTableFactory("t"), none, false},
      {48, 1, lpm11TableFactory("t"), none, false},
      {48, 1, Lpm14TableIs("t"), none, false},
      {62, 4, l3LagTableFactory("t"),
       "TarnSwitchTable::L3LagTable: profile 'wide' has 62 ports" + fits + "61 at most", false},
      {64, 4, l3FloodBitmapTableFactory("t"),
       "TarnSwitchTable::L3FloodBitmapTable: profile 'wide' has 64 ports" + fits + "63 at most",
       false},
      {63, 4, sGTableFactory("t"),
       "TarnSwitchTable::SGTable: profile 'wide' has 63 ports" + fits + "62 at most", false},
      {2, 1, l3FloodArpTableFactory("t"), none, true},
      {61, 1, l3LagTableFactory("t"), none, true},
      {63, 1, l3FloodBitmapTableFactory("t"), none, true},
      {319, 1, l3FloodBitmapTableFactory("t"), none, true},
      {62, 2, sGTableFactory("t"), none, true},
  };
  for (const auto& c : cases) {
    TarnSwitch::ChipProfile p = *TarnSwitch::builtinProfile("default");
    p.name = "wide";
    p.portCount = Fen::U16(c.ports);
    p.pipelineCount = Fen::U8(c.pipelines);
    const ChipPtr chip = Fen::makePtr<TarnSwitchApi::HwTableCollection>(p);
    EXPECT_EQ(thrownMessage<Fen::RangeException>(
                  [&] { TarnSwitchApi::startSwTable(*c.table, chip, StartMode::cold); }),
              c.message);
    EXPECT_EQ(chip->writeCount() > 0, c.writes) << c.message;
  }
  // A software-only table keeps its entries across a warm start and writes nothing.
  TarnSwitch::ChipProfile p = *TarnSwitch::builtinProfile("default");
  p.pipelineCount = 1;
  const ChipPtr chip = Fen::makePtr<TarnSwitchApi::HwTableCollection>(p);
  auto lpm = startTable(lpm11TableFactory("lpm11"), chip, StartMode::cold);
  const TarnSwitch::LpmKey key(1, Lanx::Prefix(Lanx::Ip4Addr(0x0A000000u), 11));
  lpm.table->entryIs(key, Lpm11Result(EntryCellResult(), true));
  TarnSwitchApi::startSwTable(*lpm.table, chip, StartMode::warm);
  EXPECT_TRUE(lpm.table->profileConvertor()->copies().empty());
  EXPECT_TRUE(lpm.table->entry(key)->cpuTrap);
  EXPECT_EQ(chip->writeCount(), 0u);
}

}  // namespace
}  // namespace TarnTest

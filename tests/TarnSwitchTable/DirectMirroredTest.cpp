// The direct-table suite on a table mirrored on two hardware copies: the ARP row layout over
// four ports, declared twice. It checks the engine's handling of copies (every copy written,
// table 0 read back, a differing copy repaired) apart from any real table's layout.
#include <gtest/gtest.h>

#include "DirectTableSuite.h"
#include "TarnSwitchTable/TarnTableArp.h"

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;

struct MirroredConvertor : ArpConvertor {
  using ArpConvertor::ArpConvertor;
  void doCreateHwTables(TableState state, bool resetHw) override {
    for (HwTableId id = 0; id < 2; ++id) {
      std::string name = swTable()->hwTableName("Arp", int(id));
      auto regs = Fen::makePtr<TarnSwitchApi::HwAddressColl>();
      regs->addressIs(0, "copy[" + std::to_string(id) + "]/data");
      declareHwTable(id, name, state, 0, 4 * entriesPerPort - 1,
                     Fen::makePtr<TarnSwitchApi::HwTableRegisterMappingConst>(name, regs));
    }
    if (state == TableState::init) initHwEntries(resetHw);
  }
};

struct MirroredTable : ArpTable {
  using ArpTable::ArpTable;
  Fen::Ptr<DirectBaseConvertor> profileConvertorFactory() const override {
    return Fen::makePtr<MirroredConvertor>(const_cast<MirroredTable*>(this));
  }
};

struct MirroredTraits {
  using Table = MirroredTable;
  using Entry = ArpEntry;
  static Fen::Ptr<MirroredTable> makeTable() { return Fen::makePtr<MirroredTable>("mirror"); }
  static std::string profile() { return "default"; }
  static std::vector<ArpKey> sampleKeys() { return {{0, 0}, {1, 63}, {2, 0}, {3, 5}}; }
  static std::vector<ArpKey> outsideKeys() { return {{4, 0}, {49, 63}}; }
  static ArpResult result(unsigned n) {
    return {Lanx::EthAddr::fromU64(0xA00000000 + n * 0x10001), n};
  }
  static constexpr unsigned copies = 2;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Mirrored, DirectTableSuite, ::testing::Types<MirroredTraits>);

}  // namespace TarnTest

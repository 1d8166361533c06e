// Creates the ARP table on a simulated "default" chip, cold-starts it, sets, changes and deletes
// entries, and prints every register write and the rows the chip holds at the end.
#include <cstdio>

#include "TarnSwitchTable/TarnTableArp.h"

using namespace TarnSwitchTable;

namespace {

void printRows(const TarnSwitchApi::HwTableConfig& table) {
  std::printf("rows of %s holding an entry:\n", table.name().c_str());
  for (HwIndex i = table.lower(); i <= table.upper(); ++i) {
    const HwEntryConfig* row = table.storedEntry(i);
    if (!row || (row->dataArray()[0] == 0 && (row->dataArray()[2] >> 16) == 0 &&
                 (row->dataArray()[2] & 0xFFFF) == 0)) {
      continue;  // empty rows (the null encoding) are left out
    }
    std::printf("  HwIndex %4u:", i);
    for (unsigned w = 0; w < row->words(); ++w) std::printf(" 0x%08x", row->dataArray()[w]);
    std::printf("\n");
  }
}

}  // namespace

int main() {
  auto chip =
      Fen::makePtr<TarnSwitchApi::HwTableCollection>(*TarnSwitch::builtinProfile("default"));
  auto arp = arpTableFactory("arp");
  TarnSwitchApi::startSwTable(*arp, chip, TarnSwitchApi::StartMode::cold);
  std::printf("cold start: %llu rows written (every row of %u ports x 64)\n",
              static_cast<unsigned long long>(chip->writeCount()), chip->profile().portCount);

  // From here on, print each register write as it happens.
  chip->writeObserverIs([](const TarnSwitchApi::HwTableConfig& t, const HwEntryConfig& row) {
    std::printf("write %s HwIndex %u\n", t.name().c_str(), row.index());
    for (unsigned w = 0; w < row.words(); ++w) {
      std::printf("  %-36s <- 0x%08x\n", t.registerName(row.index(), w).c_str(),
                  row.dataArray()[w]);
    }
  });

  ArpKey key(3, 5);
  std::printf("\nset %s\n", key.toStrep().c_str());
  arp->entryIs(key, ArpResult(Lanx::EthAddr::fromU64(0x001122334455), 10));
  std::printf("\nset the same value again: no write\n");
  arp->entryIs(key, ArpResult(Lanx::EthAddr::fromU64(0x001122334455), 10));
  std::printf("\nchange the VLAN to 20\n");
  arp->entryIs(key, ArpResult(Lanx::EthAddr::fromU64(0x001122334455), 20));
  std::printf("\nset port 0 rewrite index 1\n");
  arp->entryIs(ArpKey(0, 1), ArpResult(Lanx::EthAddr::fromU64(0x0a0b0c0d0e0f), 7));
  std::printf("\ndelete port 0 rewrite index 1: the row gets the null encoding\n");
  arp->entryDel(ArpKey(0, 1));

  std::printf("\n");
  printRows(*chip->hwTable(arp->hwTableName("Arp")));
  return 0;
}

// Creates the ARP table on a simulated "default" chip, cold-starts it, sets, changes and deletes
// entries, prints every register write and the rows the chip holds, then restarts warm.
#include <cstdio>

#include "TarnSwitchTable/TarnTableArp.h"

using namespace TarnSwitchTable;

namespace {

// Prints the rows that decode to a live entry (a deleted row holds the null encoding).
void printRows(ArpTable& arp) {
  DirectBaseConvertor& convertor = *arp.profileConvertor();
  const TarnSwitchApi::HwTableConfig& table = *convertor.hwTable(0);
  std::printf("rows of %s holding an entry:\n", table.name().c_str());
  for (HwIndex i = table.lower(); i <= table.upper(); ++i) {
    Fen::Ptr<DirectBaseEntry> entry = convertor.decodeHwEntry(i);
    if (!entry->valid()) continue;
    const HwEntryConfig& row = *table.storedEntry(i);
    std::printf("  HwIndex %4u:", i);
    for (unsigned w = 0; w < row.words(); ++w) std::printf(" 0x%08x", row.dataArray()[w]);
    std::printf("\n    %s\n", entry->toStrep().c_str());
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
  printRows(*arp);

  // The agent restarts: a new software table, warm-started on the same chip, adopts the row
  // from hardware and writes nothing, since every row already holds what it would write.
  auto restarted = arpTableFactory("arp");
  Fen::U64 before = chip->writeCount();
  TarnSwitchApi::startSwTable(*restarted, chip, TarnSwitchApi::StartMode::warm);
  std::printf("\nwarm restart: %zu entry adopted from hardware, %llu rows written\n",
              restarted->entry().size(),
              static_cast<unsigned long long>(chip->writeCount() - before));
  return 0;
}

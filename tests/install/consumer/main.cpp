// Uses the installed library as an agent would: the ARP table on a simulated default chip,
// cold-started, one entry set, then the row read back from the chip. Exit status 0 on success.
#include <cstdio>

#include "Keel/BitStream.h"
#include "TarnSwitchTable/TarnTableArp.h"

using namespace TarnSwitchTable;

int main() {
  auto chip =
      Fen::makePtr<TarnSwitchApi::HwTableCollection>(*TarnSwitch::builtinProfile("default"));
  auto arp = arpTableFactory("arp");
  TarnSwitchApi::startSwTable(*arp, chip, TarnSwitchApi::StartMode::cold);
  arp->entryIs(ArpKey(3, 5), ArpResult(Lanx::EthAddr::fromU64(0x001122334455), 10));

  // Port 3, rewrite index 5 is row 3 * 64 + 5; word 0 holds the upper four MAC bytes and
  // bits 64..79 (word 2) the VLAN.
  const HwEntryConfig* row = chip->hwTable(arp->hwTableName("Arp"))->storedEntry(197);
  if (!row) {
    std::fprintf(stderr, "consumer: row 197 was not written\n");
    return 1;
  }
  U32 word0 = row->dataArray()[0];
  U64 vlan = Keel::bitStreamGet(row->dataArray(), 64, 79);
  if (word0 != 0x00112233u || vlan != 10) {
    std::fprintf(stderr, "consumer: row 197 word 0 0x%08x (want 0x00112233), VLAN %llu (want 10)\n",
                 word0, static_cast<unsigned long long>(vlan));
    return 1;
  }
  std::printf("consumer: row 197 word 0 0x%08x, VLAN %llu\n", word0,
              static_cast<unsigned long long>(vlan));
  return 0;
}

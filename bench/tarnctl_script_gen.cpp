// Writes an ARP change script for the tarnctl replay benchmark to stdout: LINES lines (default
// 1,000,000) of sets of new keys, changes of present keys and deletes, from a fixed seed.
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

int main(int argc, char** argv) {
  unsigned long lines = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1000000ul;
  std::mt19937 rng(42);
  std::vector<bool> present(48 * 64, false);
  for (unsigned long n = 0; n < lines; ++n) {
    unsigned row = rng() % (48 * 64);
    unsigned port = row / 64, index = row % 64;
    unsigned choice = rng() % 10;
    if (present[row] && choice < 3) {
      std::printf("del arp egressPort=%u rewriteIndex=%u\n", port, index);
      present[row] = false;
    } else if (present[row] && choice < 6) {
      std::printf("set arp egressPort=%u rewriteIndex=%u vlanId=%u\n", port, index,
                  unsigned(1 + rng() % 4094));
    } else {
      unsigned mac = unsigned(rng());
      std::printf(
          "set arp egressPort=%u rewriteIndex=%u ethAddr=02:00:%02x:%02x:%02x:%02x vlanId=%u\n",
          port, index, mac >> 24, (mac >> 16) & 0xFF, (mac >> 8) & 0xFF, mac & 0xFF,
          unsigned(1 + rng() % 4094));
      present[row] = true;
    }
  }
  return 0;
}

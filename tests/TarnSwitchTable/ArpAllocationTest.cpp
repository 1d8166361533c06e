// Programming a changed result for a key the table already holds must not touch the heap: the
// row buffer lives on the stack and the table reuses its item. Global operator new is replaced
// in this test binary by a counting one that counts only while a measurement is armed. Under
// AddressSanitizer the sanitizer owns operator new, so the test is skipped there.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "TarnSwitchTable/TarnTableArp.h"
#include "support/WarmRestart.h"

#if defined(__SANITIZE_ADDRESS__)
#define TARN_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TARN_TEST_ASAN 1
#endif
#endif

namespace {
std::atomic<bool> countingArmed{false};
std::atomic<unsigned long> allocations{0};
#ifdef TARN_TEST_ASAN
constexpr bool countsAllocations = false;
#else
constexpr bool countsAllocations = true;
#endif
}  // namespace

#ifndef TARN_TEST_ASAN
void* operator new(std::size_t size) {
  if (countingArmed.load(std::memory_order_relaxed))
    allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
#endif

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;

// Counts the allocations made while it is alive.
class AllocationCount {
 public:
  AllocationCount() {
    allocations = 0;
    countingArmed = true;
  }
  ~AllocationCount() { countingArmed = false; }
  unsigned long value() const { return allocations.load(); }
};

ArpResult resultNumber(unsigned n) {
  return ArpResult(Lanx::EthAddr::fromU64(0x020000000000ull + n), n % 4095);
}

TEST(ArpAllocation, ChangingTheResultOfAnExistingKeyAllocatesNothing) {
  if (!countsAllocations) GTEST_SKIP() << "operator new belongs to AddressSanitizer in this build";
  ChipPtr chip = makeChip();
  auto arp = startTable(arpTableFactory("arp"), chip, StartMode::cold).table;
  const ArpKey key(3, 5);
  arp->entryIs(key, resultNumber(1));  // first use creates the reusable item
  const Fen::U64 start = chip->writeCount();
  unsigned long counted = 0;
  {
    AllocationCount count;
    for (unsigned n = 2; n < 10; ++n) arp->entryIs(key, resultNumber(n));
    counted = count.value();
  }
  EXPECT_EQ(counted, 0u);
  EXPECT_EQ(chip->writeCount() - start, 8u) << "every change reached hardware";

  // The counter sees allocations made inside the library: a new key needs a map node.
  {
    AllocationCount count;
    arp->entryIs(ArpKey(4, 0), resultNumber(1));
    counted = count.value();
  }
  EXPECT_GE(counted, 1u);
}

}  // namespace
}  // namespace TarnTest

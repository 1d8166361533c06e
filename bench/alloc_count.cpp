// Counts the heap allocations of the whole benchmark process, so each benchmark can report its
// allocations per call. Kept apart from the benchmarks so the replaced operators are never
// inlined into them. Single-threaded, like the library.
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {
std::uint64_t allocations = 0;
}  // namespace

// Heap allocations made through operator new since the process started.
std::uint64_t heapAllocationCount() {
  return allocations;
}

void* operator new(std::size_t size) {
  ++allocations;
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}

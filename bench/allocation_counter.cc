// Replaces the global operator new and delete of a benchmark binary to count heap use.
#include "bench/allocation_counter.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<int64_t> g_inUse{0};
std::atomic<int64_t> g_peak{0};
std::atomic<int64_t> g_allocations{0};

void* Allocate(size_t size) {
  void* p = std::malloc(size ? size : 1);
  if (!p) throw std::bad_alloc();
  int64_t now = g_inUse.fetch_add(static_cast<int64_t>(malloc_usable_size(p))) +
                static_cast<int64_t>(malloc_usable_size(p));
  int64_t peak = g_peak.load();
  while (now > peak && !g_peak.compare_exchange_weak(peak, now)) {
  }
  g_allocations.fetch_add(1);
  return p;
}

void Release(void* p) {
  if (!p) return;
  g_inUse.fetch_sub(static_cast<int64_t>(malloc_usable_size(p)));
  std::free(p);
}
}  // namespace

void* operator new(size_t size) { return Allocate(size); }
void* operator new[](size_t size) { return Allocate(size); }
void operator delete(void* p) noexcept { Release(p); }
void operator delete[](void* p) noexcept { Release(p); }
void operator delete(void* p, size_t) noexcept { Release(p); }
void operator delete[](void* p, size_t) noexcept { Release(p); }

namespace tl::bench {

HeapStats Heap() { return {g_inUse.load(), g_peak.load(), g_allocations.load()}; }

void ResetHeapPeak() { g_peak.store(g_inUse.load()); }

}  // namespace tl::bench

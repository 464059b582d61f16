// Heap accounting for benchmarks: bytes in use, their peak, and allocation counts, kept by the
// benchmark binary's own operator new and delete.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tl::bench {

struct HeapStats {
  int64_t bytesInUse = 0;
  int64_t peakBytes = 0;
  int64_t allocations = 0;
};

HeapStats Heap();
// Starts a new peak from the bytes in use now.
void ResetHeapPeak();

}  // namespace tl::bench

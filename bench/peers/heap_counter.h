#ifndef KESU_BENCH_PEERS_HEAP_COUNTER_H_
#define KESU_BENCH_PEERS_HEAP_COUNTER_H_

#include <functional>

/// What a piece of work asked of the C heap, on its thread and in every library it called.
struct HeapUse {
  /// malloc, calloc, memalign and every realloc that made a block or moved one to a larger size.
  long long allocations = 0;
  /// Bytes asked for and not given back.
  long long bytes_held = 0;
};

/// Runs `work` and counts. Outside of this the program's malloc is that of the C library, behind
/// one test of a thread's flag.
HeapUse CountHeapUse(const std::function<void()>& work);

#endif  // KESU_BENCH_PEERS_HEAP_COUNTER_H_

#ifndef KESU_BENCH_PEERS_THREAD_TIME_H_
#define KESU_BENCH_PEERS_THREAD_TIME_H_

#include <ctime>

/// The CPU time of the calling thread.
inline double ThreadMicroseconds() {
  timespec now = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

#endif  // KESU_BENCH_PEERS_THREAD_TIME_H_

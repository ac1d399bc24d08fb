#ifndef KESU_BENCH_PEERS_LINES_H_
#define KESU_BENCH_PEERS_LINES_H_

#include <vector>

#include "bench/peers/comparison.h"

/// The lines of the table, by subject. Each measures when it is called.
std::vector<Line> CodecLines();
std::vector<Line> ClientLines();

#endif  // KESU_BENCH_PEERS_LINES_H_

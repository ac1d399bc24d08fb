#ifndef KESU_BENCH_PEERS_LINES_H_
#define KESU_BENCH_PEERS_LINES_H_

#include <vector>

#include "bench/peers/comparison.h"

/// The lines of the table, by subject. Each measures when it is called.

/// Begins with the line of reading the sample reply.
std::vector<Line> CodecLines();
std::vector<Line> StringLines();
std::vector<Line> ClientLines();
std::vector<Line> StormLines();
/// `reply_decode` is the first of CodecLines(), whose peer is the yardstick for what was.
std::vector<Line> LookupLines(const Line& reply_decode);
std::vector<Line> SyscallLines();
std::vector<Line> StartLines();

#endif  // KESU_BENCH_PEERS_LINES_H_

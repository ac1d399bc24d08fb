#ifndef KESU_BENCH_PEERS_LINES_H_
#define KESU_BENCH_PEERS_LINES_H_

#include <functional>
#include <vector>

#include "bench/peers/comparison.h"

/// The lines of the table, by subject. Each measures when it is called.
std::vector<Line> CodecLines();
std::vector<Line> StringLines();
std::vector<Line> ClientLines();
std::vector<Line> SyscallLines();
std::vector<Line> LookupLines();
std::vector<Line> StormLines();
std::vector<Line> StartLines();

/// Reads the sample reply by hand: a yardstick for what cannot be measured any more.
std::function<void()> PlainReplyReading();

#endif  // KESU_BENCH_PEERS_LINES_H_

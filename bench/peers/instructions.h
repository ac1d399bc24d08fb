#ifndef KESU_BENCH_PEERS_INSTRUCTIONS_H_
#define KESU_BENCH_PEERS_INSTRUCTIONS_H_

#include <functional>
#include <string>

/// Whether this process runs under callgrind.
bool CanCountInstructions();

/// The instructions of one run of `work`, kernel and other processes excluded. Only under
/// callgrind.
double CountInstructions(const std::function<void()>& work);

/// The instructions of a whole run of another program. Only under callgrind.
double CountInstructionsOfProgram(const std::string& program);

/// Starts this program anew under callgrind. Returns only where that fails.
void RunUnderCallgrind(char** argv);

#endif  // KESU_BENCH_PEERS_INSTRUCTIONS_H_

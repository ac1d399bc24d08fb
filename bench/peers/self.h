#ifndef KESU_BENCH_PEERS_SELF_H_
#define KESU_BENCH_PEERS_SELF_H_

#include <string>

/// The path of this program, also where it runs under valgrind or strace.
std::string SelfPath();

/// Ends the process with what errno says of `what`.
[[noreturn]] void Die(const char* what);

#endif  // KESU_BENCH_PEERS_SELF_H_

#ifndef KESU_BENCH_PEERS_SYSCALL_LINES_H_
#define KESU_BENCH_PEERS_SYSCALL_LINES_H_

/// The option with which this program runs ExchangeUnderTrace().
constexpr char kExchangeOption[] = "--exchange";

/// Two exchanges, cold and warm, between marks that a trace of system calls shows.
void ExchangeUnderTrace(const char* who, const char* host);

#endif  // KESU_BENCH_PEERS_SYSCALL_LINES_H_

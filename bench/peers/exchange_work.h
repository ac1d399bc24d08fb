#ifndef KESU_BENCH_PEERS_EXCHANGE_WORK_H_
#define KESU_BENCH_PEERS_EXCHANGE_WORK_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/peers/client.h"
#include "bench/peers/comparison.h"

using NewClient = std::function<std::unique_ptr<Client>()>;

/// One exchange of all requests, which are borrowed. A cold client is made anew before each run, a
/// warm one has its connections. The library allows one client of ours at a time, and the work
/// holds the last one it made.
Work ExchangeWork(const NewClient& make, const std::vector<std::string>& requests, bool is_cold);

/// Ours and the peer's exchange of the same requests, by the request.
Contest ExchangeContest(const NewClient& ours, const NewClient& peer,
                        const std::vector<std::string>& requests, bool is_cold, int rounds);

#endif  // KESU_BENCH_PEERS_EXCHANGE_WORK_H_

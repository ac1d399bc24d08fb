#ifndef SERVER_BENCH_BARE_READS_H_
#define SERVER_BENCH_BARE_READS_H_

#include <cstddef>
#include <span>

#include <sqlite3.h>

#include "invented_world.h"

namespace kesu_server_bench {

/// What nobody can do without who keeps stations in SQLite: a statement that is prepared once, and
/// for each station bound, stepped, read and reset.
class BareReads {
 public:
  explicit BareReads(const InventedWorld& world);
  ~BareReads();
  BareReads(const BareReads&) = delete;
  BareReads& operator=(const BareReads&) = delete;

  /// The processor time to read a lookup's stations, so many lookups in a transaction; with 0 each
  /// read is on its own.
  double SecondsPerLookup(std::span<const Lookup> lookups, std::size_t lookups_of_a_transaction);

 private:
  void Execute(const char* sql);

  sqlite3* connection_ = nullptr;
  sqlite3_stmt* read_ = nullptr;
  std::int64_t sum_ = 0;
};

}  // namespace kesu_server_bench

#endif  // SERVER_BENCH_BARE_READS_H_

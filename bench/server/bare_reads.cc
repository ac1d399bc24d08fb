#include "bare_reads.h"

#include "processes.h"
#include "report.h"

namespace kesu_server_bench {

BareReads::BareReads(const InventedWorld& world) {
  constexpr char kQuery[] =
      "SELECT latitude, longitude, radius, samples FROM access_point WHERE mac = ?1";
  if (sqlite3_open_v2(world.database().c_str(), &connection_,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK ||
      sqlite3_prepare_v2(connection_, kQuery, -1, &read_, nullptr) != SQLITE_OK) {
    Fail(world.database() + ": " + sqlite3_errmsg(connection_));
  }
  Execute("PRAGMA mmap_size = 1099511627776");
}

BareReads::~BareReads() {
  sqlite3_finalize(read_);
  sqlite3_close(connection_);
}

void BareReads::Execute(const char* sql) {
  if (sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) Fail(sql);
}

double BareReads::SecondsPerLookup(std::span<const Lookup> lookups,
                                   std::size_t lookups_of_a_transaction) {
  const double before = OwnCpuSeconds();
  std::size_t in_transaction = 0;
  for (const Lookup& lookup : lookups) {
    if (lookups_of_a_transaction > 0 && in_transaction == 0) Execute("BEGIN");
    for (const HeardAccessPoint& heard : lookup) {
      sqlite3_bind_int64(read_, 1, heard.mac);
      if (sqlite3_step(read_) != SQLITE_ROW) Fail("a station is not there");
      for (int i = 0; i < 4; ++i) sum_ += sqlite3_column_int64(read_, i);
      sqlite3_reset(read_);
    }
    if (lookups_of_a_transaction == 0) continue;
    in_transaction = (in_transaction + 1) % lookups_of_a_transaction;
    if (in_transaction == 0) Execute("COMMIT");
  }
  if (in_transaction > 0) Execute("COMMIT");
  if (sum_ == 0) Fail("the stations are empty");
  return (OwnCpuSeconds() - before) / static_cast<double>(lookups.size());
}

}  // namespace kesu_server_bench

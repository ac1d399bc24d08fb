#ifndef SERVER_BENCH_GROUPS_H_
#define SERVER_BENCH_GROUPS_H_

#include <cstdint>

#include "invented_world.h"
#include "report.h"

namespace kesu_server_bench {

/// A lookup beside bare reads: in POSTs of many, and alone, where libmicrohttpd counts as well.
void MeasureLookups(const InventedWorld& world, Report* report);
/// Two workers beside one, and an active connection beside 5,000 idle ones.
void MeasureWorkers(const InventedWorld& world, Report* report);
void MeasureIdleConnections(const InventedWorld& world, Report* report);
/// The memory of a worker over so many POSTs, one in four of which is hostile.
void MeasureMemory(const InventedWorld& world, std::int64_t posts, Report* report);
/// Importing so many cells beside the import of the sqlite3 shell, and what a station takes on
/// disk.
void MeasureImport(std::int64_t cells, Report* report);
void MeasureDisk(const InventedWorld& world, Report* report);

}  // namespace kesu_server_bench

#endif  // SERVER_BENCH_GROUPS_H_

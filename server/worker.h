#ifndef SERVER_WORKER_H_
#define SERVER_WORKER_H_

#include <span>
#include <string>
#include <vector>

#include "server/http/worker_record.h"
#include "server/options.h"
#include "server/process/supervisor.h"

namespace kesu_server {

/// What the workers have in common.
struct WorkerSetting {
  /// Borrowed.
  Options* options = nullptr;
  std::span<WorkerRecord> records;
  /// Random, and the same in all workers.
  std::string secret;
};

/// The life of a worker: opens the data, serves the clients of the listening sockets, and ends when
/// it is told to. Yields the exit status.
int RunWorker(const WorkerSetting& setting, const std::vector<int>& listening_sockets,
              const WorkerPlace& place);

}  // namespace kesu_server

#endif  // SERVER_WORKER_H_

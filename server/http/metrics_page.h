#ifndef SERVER_HTTP_METRICS_PAGE_H_
#define SERVER_HTTP_METRICS_PAGE_H_

#include <span>
#include <string>

#include "server/http/worker_record.h"

namespace kesu_server {

/// What is known of the server beside the records of its workers.
struct ServerFacts {
  /// Clients that wait to be accepted by the worker that answers.
  unsigned queue = 0;
  /// Where the data come from.
  std::string data;
};

/// The sum of all workers' records in the text format of Prometheus, version 0.0.4.
std::string MetricsPage(std::span<const WorkerRecord> records, const ServerFacts& facts);

inline constexpr char kMetricsContentType[] = "text/plain; version=0.0.4; charset=utf-8";

}  // namespace kesu_server

#endif  // SERVER_HTTP_METRICS_PAGE_H_

#ifndef SERVER_HTTP_METRICS_PAGE_H_
#define SERVER_HTTP_METRICS_PAGE_H_

#include <span>
#include <string>

#include "server/http/worker_record.h"

namespace kesu_server {

/// The sum of all workers' records in the text format of Prometheus, version 0.0.4. `queue` clients
/// wait for the worker that answers.
std::string MetricsPage(std::span<const WorkerRecord> records, unsigned queue);

inline constexpr char kMetricsContentType[] = "text/plain; version=0.0.4; charset=utf-8";

}  // namespace kesu_server

#endif  // SERVER_HTTP_METRICS_PAGE_H_

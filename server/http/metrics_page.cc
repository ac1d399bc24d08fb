#include "server/http/metrics_page.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace kesu_server {
namespace {

/// The text so far, and the metric that the next samples belong to.
class Page {
 public:
  explicit Page(std::span<const WorkerRecord> records) : records_(records) {}

  void Metric(const std::string& name, const char* type, const char* help) {
    name_ = name;
    text_.append("# HELP ").append(name).append(" ").append(help).append("\n");
    text_.append("# TYPE ").append(name).append(" ").append(type).append("\n");
  }

  void Sample(const std::string& suffix_and_labels, const std::string& value) {
    text_.append(name_).append(suffix_and_labels).append(" ").append(value).append("\n");
  }
  void Sample(const std::string& suffix_and_labels, std::uint64_t value) {
    Sample(suffix_and_labels, std::to_string(value));
  }

  /// A metric with one sample.
  void Single(const std::string& name, const char* type, const char* help, std::uint64_t value) {
    Metric(name, type, help);
    Sample("", value);
  }

  /// The sum over all workers of what `read` yields.
  template <typename Read>
  std::uint64_t Sum(const Read& read) const {
    std::uint64_t sum = 0;
    for (const WorkerRecord& record : records_) sum += read(record).load(std::memory_order_relaxed);
    return sum;
  }

  std::string Take() { return std::move(text_); }

 private:
  std::span<const WorkerRecord> records_;
  std::string name_;
  std::string text_;
};

std::string StatusText(int status) {
  return status == 0 ? "other" : std::to_string(status);
}

std::string Seconds(std::uint64_t microseconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6f", static_cast<double>(microseconds) / 1e6);
  return text;
}

void AddRequests(Page* page) {
  page->Metric("kesu_requests_total", "counter",
               "Requests in POSTs, and JSON calls, by service and status.");
  for (std::size_t service = 0; service < WorkerRecord::kServices.size(); ++service) {
    for (std::size_t i = 0; i < WorkerRecord::kStatuses.size(); ++i) {
      const std::uint64_t count = page->Sum([&](const WorkerRecord& record) -> auto& {
        return record.requests[service][i];
      });
      const std::string name(WorkerRecord::kServices[service]);
      page->Sample(
          "{service=\"" + name + "\",status=\"" + StatusText(WorkerRecord::kStatuses[i]) + "\"}",
          count);
    }
  }
}

void AddReplies(Page* page) {
  page->Metric("kesu_http_replies_total", "counter", "HTTP replies by status.");
  for (std::size_t i = 0; i < WorkerRecord::kHttpStatuses.size(); ++i) {
    page->Sample("{status=\"" + StatusText(WorkerRecord::kHttpStatuses[i]) + "\"}",
                 page->Sum([i](const WorkerRecord& record) -> auto& { return record.replies[i]; }));
  }
}

void AddDurations(Page* page) {
  page->Metric("kesu_http_request_duration_seconds", "histogram",
               "Time to answer an HTTP request, without its way through the network.");
  std::uint64_t count = 0;
  for (std::size_t i = 0; i < WorkerRecord::kMicroseconds.size(); ++i) {
    count += page->Sum([i](const WorkerRecord& record) -> auto& { return record.durations[i]; });
    const int bound = WorkerRecord::kMicroseconds[i];
    const std::string bound_text = bound == 0 ? "+Inf" : Seconds(static_cast<std::uint64_t>(bound));
    page->Sample("_bucket{le=\"" + bound_text + "\"}", count);
  }
  page->Sample("_sum", Seconds(page->Sum([](const WorkerRecord& record) -> auto& {
                 return record.duration_sum_us;
               })));
  page->Sample("_count", count);
}

}  // namespace

std::string MetricsPage(std::span<const WorkerRecord> records, unsigned queue) {
  Page page(records);
  AddRequests(&page);
  AddReplies(&page);
  AddDurations(&page);
  page.Metric("kesu_stations_total", "counter",
              "Stations that were asked for, by whether they are known.");
  page.Sample("{result=\"hit\"}",
              page.Sum([](const WorkerRecord& record) -> auto& { return record.known_stations; }));
  page.Sample("{result=\"miss\"}", page.Sum([](const WorkerRecord& record) -> auto& {
    return record.unknown_stations;
  }));

  page.Metric("kesu_connections", "gauge", "Connections that are open.");
  page.Sample("", page.Sum([](const WorkerRecord& record) -> auto& { return record.connections; }));
  page.Single("kesu_accept_queue_length", "gauge",
              "Clients that wait to be accepted by the worker that answers.", queue);
  page.Single(
      "kesu_connections_accepted_total", "counter", "Connections accepted.",
      page.Sum([](const WorkerRecord& record) -> auto& { return record.accepted_connections; }));
  page.Single(
      "kesu_connections_refused_total", "counter",
      "Connections refused since their address had too many.",
      page.Sum([](const WorkerRecord& record) -> auto& { return record.refused_connections; }));
  page.Single(
      "kesu_lessons_received_total", "counter",
      "Observations of stations by devices that know where they are, where there is learning.",
      page.Sum([](const WorkerRecord& record) -> auto& { return record.lessons.received; }));
  page.Single("kesu_lessons_written_total", "counter", "Those that the data have learned.",
              page.Sum([](const WorkerRecord& record) -> auto& { return record.lessons.written; }));
  page.Single("kesu_lessons_dropped_total", "counter",
              "Those that were dropped since they came too fast or could not be written.",
              page.Sum([](const WorkerRecord& record) -> auto& { return record.lessons.dropped; }));
  page.Single("kesu_stations_blocked_total", "counter",
              "Stations that were found to be moving and blocked.", page.Sum([
              ](const WorkerRecord& record) -> auto& { return record.lessons.blocked_stations; }));
  page.Single("kesu_log_lines_dropped_total", "counter",
              "Lines dropped since nobody read those before them.",
              page.Sum([](const WorkerRecord& record) -> auto& { return record.dropped_lines; }));

  std::uint64_t workers = 0;
  std::uint64_t data_time_s = 0;
  std::uint64_t data_version = 0;
  for (const WorkerRecord& record : records) {
    const std::uint64_t time_s = record.data_time_s;
    workers += static_cast<std::uint64_t>(time_s > 0);
    data_time_s = std::max(data_time_s, time_s);
    data_version = std::max<std::uint64_t>(data_version, record.data_version);
  }
  page.Single("kesu_workers", "gauge", "Workers that run.", workers);
  page.Single("kesu_data_version", "gauge", "The version of the newest data that a worker opened.",
              data_version);
  page.Single("kesu_data_opened_timestamp_seconds", "gauge", "When a worker opened its data last.",
              data_time_s);
  return page.Take();
}

}  // namespace kesu_server

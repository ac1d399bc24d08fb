#include "server/worker.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <glib-unix.h>
#include <glib.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "server/counting_lookup.h"
#include "server/http/admission.h"
#include "server/http/geolocate_page.h"
#include "server/http/geosubmit_page.h"
#include "server/http/http_server.h"
#include "server/http/metrics_page.h"
#include "server/http/request_handler.h"
#include "server/http/reverse_page.h"
#include "server/http/tls_files.h"
#include "server/inspect/inspector.h"
#include "server/learn/learner.h"
#include "server/process/line_writer.h"
#include "server/services/echo_service.h"
#include "server/services/location_service.h"
#include "server/storage/open_storage.h"
#include "tools/support/standard_files.h"
#include "web/inspector_files.h"

namespace kesu_server {
namespace {

constexpr int kServerError = 3;
constexpr int kHttpOk = 200;
constexpr int kHttpUnavailable = 503;

/// The loop's, the log's, the signals', two of libmicrohttpd's, and a client.
constexpr int kFilesOfAWorker = 6;

constexpr mode_t kLogFileMode = 0640;

std::string NewPlatformKey() {
  char* const uuid = g_uuid_string_random();
  std::string key = uuid;
  g_free(uuid);
  return key;
}

int Fail(const std::string& error) {
  g_printerr("kesu-server: %s\n", error.c_str());
  return kServerError;
}

/// Null, and why in `error`, when the file cannot be written. It stays open as long as the worker
/// lives.
std::unique_ptr<LineWriter> OpenAccessLog(const std::string& path, std::string* error) {
  if (path == "-") return std::make_unique<LineWriter>(STDOUT_FILENO);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const int descriptor = open(path.c_str(), kFlags, kLogFileMode);
  if (descriptor >= 0) return std::make_unique<LineWriter>(descriptor);
  *error = path + ": " + std::strerror(errno);
  return nullptr;
}

PostLimits PostLimitsOf(const Options& options) {
  return {static_cast<std::size_t>(options.max_body_bytes),
          static_cast<std::size_t>(options.max_requests), static_cast<unsigned>(options.max_cpu_ms),
          static_cast<std::size_t>(options.max_waiting)};
}

/// Clients that wait in the queues of listening sockets.
unsigned QueueLength(const std::vector<int>& listening_sockets) {
  unsigned length = 0;
  for (const int socket : listening_sockets) {
    tcp_info info = {};
    socklen_t bytes = sizeof info;
    if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &bytes) == 0) length += info.tcpi_unacked;
  }
  return length;
}

/// Serves until it is told to end, and what is under way has ended or the grace time is over.
class ServingLoop {
 public:
  /// Closes the listening sockets as soon as nobody else is to be served.
  ServingLoop(HttpServer* server, std::vector<int> listening_sockets, unsigned grace_s)
      : server_(server),
        listening_sockets_(std::move(listening_sockets)),
        grace_s_(grace_s),
        loop_(g_main_loop_new(nullptr, FALSE)) {}
  ServingLoop(const ServingLoop&) = delete;
  ServingLoop& operator=(const ServingLoop&) = delete;
  ~ServingLoop() {
    if (signals_ >= 0) close(signals_);
    g_main_loop_unref(loop_);
  }

  /// False when there is no descriptor for it.
  bool WatchSignals() {
    sigset_t wanted;
    sigemptyset(&wanted);
    sigaddset(&wanted, kEndSignal);
    sigaddset(&wanted, kRetireSignal);
    signals_ = signalfd(-1, &wanted, SFD_NONBLOCK | SFD_CLOEXEC);
    if (signals_ < 0) return false;
    const auto on_signal = [](int, GIOCondition, void* self) -> gboolean {
      static_cast<ServingLoop*>(self)->OnSignal();
      return G_SOURCE_CONTINUE;
    };
    g_unix_fd_add(signals_, G_IO_IN, on_signal, this);
    return true;
  }

  void Run() { g_main_loop_run(loop_); }
  bool is_ending() const { return is_ending_; }

 private:
  void OnSignal() {
    signalfd_siginfo info = {};
    if (read(signals_, &info, sizeof info) != sizeof info) return;
    if (static_cast<int>(info.ssi_signo) == kEndSignal) {
      is_ending_ = true;
      return Finish(grace_s_);
    }
    // Those who are between two requests have half of the time to bring one more.
    const unsigned half_ms = grace_s_ * 1000 / 2;
    const auto finish = [](void* self) -> gboolean {
      auto* const loop = static_cast<ServingLoop*>(self);
      loop->Finish(loop->grace_s_ / 2);
      return G_SOURCE_REMOVE;
    };
    g_timeout_add(half_ms, finish, this);
    Finish(HttpServer::Farewell::kPatient);
  }

  void Finish(unsigned grace_s) {
    const auto quit = [](void* loop) -> gboolean {
      g_main_loop_quit(static_cast<GMainLoop*>(loop));
      return G_SOURCE_REMOVE;
    };
    g_timeout_add_seconds(grace_s, quit, loop_);
    Finish(HttpServer::Farewell::kSoon);
  }

  void Finish(HttpServer::Farewell farewell) {
    server_->Finish(farewell, [this] { g_main_loop_quit(loop_); });
    for (const int socket : std::exchange(listening_sockets_, {})) close(socket);
  }

  HttpServer* server_;
  std::vector<int> listening_sockets_;
  unsigned grace_s_;
  GMainLoop* loop_;
  int signals_ = -1;
  bool is_ending_ = false;
};

}  // namespace

int RunWorker(const WorkerSetting& setting, const std::vector<int>& listening_sockets,
              const WorkerPlace& place) {
  Options& options = *setting.options;
  WorkerRecord& record = setting.records[place.block];
  std::string error;

  std::unique_ptr<Storage> storage = OpenStorage(options.source, &error);
  if (!storage) return Fail(error);
  const std::optional<StorageCounts> counts = storage->Counts();
  if (!counts) return Fail(storage->error());
  const std::string caution = CautionAbout(options.source, storage.get());
  TlsFiles tls;
  if (options.tls_key &&
      !ReadTlsFiles(options.tls_certificate.value_or(""), *options.tls_key, &tls, &error)) {
    return Fail(error);
  }
  std::unique_ptr<LineWriter> access_log;
  if (options.access_log) {
    access_log = OpenAccessLog(*options.access_log, &error);
    if (!access_log) return Fail(error);
  }
  if (!CanOpenFiles(kFilesOfAWorker)) return Fail("too few files can be open at a time");
  LineWriter messages(STDERR_FILENO);
  const auto write_to = [&record](LineWriter* writer, const std::string& line) {
    const std::uint64_t dropped_before = writer->dropped_lines();
    writer->Write(line);
    record.dropped_lines += writer->dropped_lines() - dropped_before;
  };

  const auto report = [&](const std::string& line) { write_to(&messages, "kesu-server: " + line); };
  CountingLookup lookup(NewLookup(options.source, std::move(storage), report), &record);
  RequestHandler handler(PostLimitsOf(options), &lookup, &record, report);
  LocationService location_service(NewPlatformKey);
  std::unique_ptr<Learner> learner;
  std::function<void(const std::vector<Lesson>&)> teach;
  if (options.does_learn) {
    learner = std::make_unique<Learner>(
        [source = ToLearnIn(options.source)] {
          std::string ignored;
          return OpenStorage(source, &ignored);
        },
        &record.lessons);
    teach = [&learner](const std::vector<Lesson>& lessons) { learner->Teach(lessons); };
    location_service.set_teach(teach);
  }
  handler.AddService(LocationService::kName, [&](const ServiceRequest& request) {
    return location_service.Begin(request);
  });
  handler.AddPlainService(kEchoServiceName, Echo);
  handler.set_faults(&options.faults);

  Admission admission(setting.records, place.block,
                      {static_cast<std::uint64_t>(options.max_connections),
                       static_cast<std::uint64_t>(options.max_connections_per_address)},
                      setting.secret);
  HttpServer::Parts parts;
  parts.handler = &handler;
  parts.admission = &admission;
  parts.record = &record;
  parts.max_body_bytes = static_cast<std::size_t>(options.max_body_bytes);
  parts.times = {static_cast<unsigned>(options.header_timeout),
                 static_cast<unsigned>(options.body_timeout),
                 static_cast<unsigned>(options.idle_timeout)};
  if (options.is_verbose) {
    parts.log = [&](const std::string& line) { write_to(&messages, line); };
  }
  if (access_log) {
    parts.access_log = [&](const std::string& line) { write_to(access_log.get(), line); };
  }
  std::optional<Inspector> inspector;
  if (options.does_inspect) {
    inspector.emplace(options.may_inspect_anywhere ? Visitors::kAny : Visitors::kLocal,
                      InspectorFiles());
    parts.observe = [&](const HttpRequest& request, const Reply& reply, std::int64_t duration_us,
                        const std::string& client) {
      inspector->Observe(request, reply, duration_us, client);
    };
    handler.AddFolder(Inspector::kFolder,
                      [&](const HttpRequest& request) { return inspector->Begin(request); });
  }
  HttpServer server(std::move(parts));
  ServingLoop loop(&server, listening_sockets, static_cast<unsigned>(options.grace));
  handler.AddCall("geolocate", "POST", "/v1/geolocate", Geolocate);
  handler.AddCall("reverse", "GET", "/reverse", ReverseGeocode);
  handler.AddPage("POST", "/v2/geosubmit", [&record, &teach](const HttpRequest& request) {
    Reply reply = Geosubmit(request, teach);
    record.CountRequest("geosubmit", static_cast<int>(reply.status));
    return reply;
  });
  handler.AddPage("GET", "/healthz", [&](const HttpRequest&) {
    return loop.is_ending() ? MakeReply(kHttpUnavailable, kTextContentType, "ending\n")
                            : MakeReply(kHttpOk, kTextContentType, "ok\n");
  });
  handler.AddPage("GET", "/metrics", [&](const HttpRequest&) {
    return MakeReply(kHttpOk, kMetricsContentType,
                     MetricsPage(setting.records, QueueLength(listening_sockets)));
  });

  if (!loop.WatchSignals() || !server.Start(listening_sockets, tls, &error)) {
    return Fail(error.empty() ? std::strerror(errno) : error);
  }
  record.data_version = static_cast<std::uint64_t>(counts->data_version);
  record.data_time_s = static_cast<std::uint64_t>(g_get_real_time() / G_USEC_PER_SEC);
  place.say_ready(caution);
  loop.Run();
  return 0;
}

}  // namespace kesu_server

#include <clocale>
#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <glib-unix.h>
#include <glib.h>
#include <sys/resource.h>

#include "server/http/http_server.h"
#include "server/http/listening_socket.h"
#include "server/http/request_handler.h"
#include "server/options.h"
#include "server/services/echo_service.h"
#include "server/services/location_service.h"
#include "server/storage/open_storage.h"
#include "tools/support/standard_files.h"

namespace kesu_server {
namespace {

constexpr int kUsageError = 2;
constexpr int kServerError = 3;

/// Two main loops, that of the signals being GLib's own, the port, and a client.
constexpr int kFilesOfAServer = 4;

std::string NewPlatformKey() {
  char* const uuid = g_uuid_string_random();
  std::string key = uuid;
  g_free(uuid);
  return key;
}

/// Clients may keep many connections open.
void RaiseFileLimit() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

/// Announces the server as soon as the process can be told to end, and returns when it has been.
void RunUntilSignalled(const std::function<void()>& announce) {
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  const auto quit = [](void* data) -> gboolean {
    g_main_loop_quit(static_cast<GMainLoop*>(data));
    return G_SOURCE_CONTINUE;
  };
  const unsigned interrupt = g_unix_signal_add(SIGINT, quit, loop);
  const unsigned terminate = g_unix_signal_add(SIGTERM, quit, loop);
  announce();
  g_main_loop_run(loop);
  g_source_remove(interrupt);
  g_source_remove(terminate);
  g_main_loop_unref(loop);
}

int Fail(const std::string& error) {
  g_printerr("kesu-server: %s\n", error.c_str());
  return kServerError;
}

int Main(int argc, char** argv) {
  // For messages with names in them; numbers stay as they are in the tables.
  std::setlocale(LC_CTYPE, "");
  Options options;
  if (!ParseOptions(argc, argv, &options)) return kUsageError;

  std::string error;
  const std::unique_ptr<Storage> storage = OpenStorage(options.source, &error);
  if (!storage) return Fail(error);

  LocationService location_service(storage.get(), NewPlatformKey);
  RequestHandler handler(
      [](const std::string& line) { g_printerr("kesu-server: %s\n", line.c_str()); });
  handler.AddService(LocationService::kName, [&](const ServiceRequest& request) {
    return location_service.Answer(request);
  });

  handler.AddService(kEchoServiceName, Echo);
  handler.set_faults(&options.faults);
  const HttpLimits limits;
  handler.set_max_body_bytes(limits.body_bytes);

  RaiseFileLimit();
  if (!CanOpenFiles(kFilesOfAServer)) return Fail("too few files can be open at a time");
  const std::vector<int> sockets =
      ListenOn(options.address, static_cast<unsigned short>(options.port), 1, &error);
  if (sockets.empty()) return Fail(error);
  std::function<void(const std::string&)> log;
  if (options.is_verbose) {
    log = [](const std::string& line) { g_printerr("%s\n", line.c_str()); };
  }
  HttpServer server(&handler, limits, log);
  if (!server.Start(sockets.front())) return Fail("out of memory");
  RunUntilSignalled([&] {
    g_print("listening on http://%s\n%s", HostAndPort(sockets.front()).c_str(),
            CautionAbout(options.source, storage.get()).c_str());
  });
  return 0;
}

}  // namespace
}  // namespace kesu_server

int main(int argc, char** argv) {
  OpenStandardFiles();
  // Whoever reads what it prints may have enough, and clients may go at any time.
  std::signal(SIGPIPE, SIG_IGN);
  return kesu_server::Main(argc, argv);
}

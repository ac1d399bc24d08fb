#include <algorithm>
#include <clocale>
#include <csignal>
#include <string>
#include <vector>

#include <glib.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <unistd.h>

#include "server/http/listening_socket.h"
#include "server/http/worker_record.h"
#include "server/options.h"
#include "server/process/line_writer.h"
#include "server/process/service_manager.h"
#include "server/process/shared_array.h"
#include "server/process/supervisor.h"
#include "server/storage/open_storage.h"
#include "server/storage/postgres_target.h"
#include "server/worker.h"
#include "tools/support/standard_files.h"

namespace kesu_server {
namespace {

constexpr int kUsageError = 2;
constexpr int kServerError = 3;
constexpr std::size_t kSecretBytes = 16;

/// Clients may keep many connections open.
void RaiseFileLimit() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

/// Several workers would not give faults to POSTs in the order in which they were sent, and would
/// see some of them each.
std::size_t NumberOfWorkers(const Options& options) {
  if (options.workers > 0) return static_cast<std::size_t>(options.workers);
  return options.faults.is_empty() && !options.does_inspect ? g_get_num_processors() : 1;
}

std::string NewSecret() {
  std::string secret(kSecretBytes, '\0');
  if (getrandom(secret.data(), secret.size(), 0) < 0) secret.clear();
  return secret;
}

/// Where the server listens.
class Port {
 public:
  bool Open(const Options& options, std::size_t workers, std::string* error) {
    if (!TakeActivatedSockets(&sockets_, error)) return false;
    are_shared_ = !sockets_.empty();
    if (!are_shared_) {
      sockets_ = ListenOn(options.address, static_cast<unsigned short>(options.port),
                          static_cast<int>(workers), error);
    }
    return !sockets_.empty();
  }

  /// Those of one worker. Sockets that were handed over serve all workers alike.
  std::vector<int> OfWorker(std::size_t number) const {
    return are_shared_ ? sockets_ : std::vector<int>{sockets_[number]};
  }

  /// In a worker: what it kept open would go on listening when it ends.
  void CloseOthers(const std::vector<int>& own) const {
    for (const int socket : sockets_) {
      if (std::find(own.begin(), own.end(), socket) == own.end()) close(socket);
    }
  }
  void Close() { CloseOthers({}); }

  bool is_on_loopback() const {
    return std::all_of(sockets_.begin(), sockets_.end(), IsOnLoopback);
  }
  std::string host_and_port() const { return HostAndPort(sockets_.front()); }

 private:
  std::vector<int> sockets_;
  bool are_shared_ = false;
};

int Main(int argc, char** argv) {
  // For messages with names in them; numbers stay as they are in the tables.
  std::setlocale(LC_CTYPE, "");
  Options options;
  if (!ParseOptions(argc, argv, &options)) return kUsageError;
  const std::size_t workers = NumberOfWorkers(options);

  std::string error;
  // The database has to be there before several workers look for it. One that only its standbys
  // answer for is good enough to begin with.
  std::string read_error;
  const bool is_elsewhere = options.source.database && IsPostgresUrl(*options.source.database);
  if (options.does_learn && !OpenStorage(ToLearnIn(options.source), &error) &&
      !(is_elsewhere && OpenStorage(options.source, &read_error))) {
    g_printerr("kesu-server: %s\n", error.c_str());
    return kServerError;
  }

  RaiseFileLimit();
  Port port;
  if (!port.Open(options, workers, &error)) {
    g_printerr("kesu-server: %s\n", error.c_str());
    return kServerError;
  }
  if (options.does_inspect && !options.may_inspect_anywhere && !port.is_on_loopback()) {
    g_printerr(
        "kesu-server: others can come to %s, and would see what clients send; --inspect "
        "needs --inspect-anywhere there\n",
        port.host_and_port().c_str());
    return kUsageError;
  }
  const SharedArray<WorkerRecord> records(Supervisor::BlocksFor(workers));
  const WorkerSetting setting = {&options, records.items(), NewSecret()};
  LineWriter messages(STDERR_FILENO);

  Supervisor::Plan plan;
  plan.workers = workers;
  plan.grace_s = static_cast<unsigned>(options.grace);
  plan.run = [&](const WorkerPlace& place) {
    const std::vector<int> own = port.OfWorker(place.number);
    port.CloseOthers(own);
    return RunWorker(setting, own, place);
  };
  plan.on_ready = [&](const std::string& announcement) {
    g_print("listening on %s://%s\n%s", options.tls_key ? "https" : "http",
            port.host_and_port().c_str(), announcement.c_str());
  };
  plan.on_ending = [&] { port.Close(); };
  plan.on_gone = [&](std::size_t block) { records.items()[block].ForgetMoment(); };
  plan.log = [&](const std::string& line) { messages.Write("kesu-server: " + line); };
  return Supervisor(std::move(plan)).Run();
}

}  // namespace
}  // namespace kesu_server

int main(int argc, char** argv) {
  OpenStandardFiles();
  // Whoever reads what it prints may have enough, and clients may go at any time.
  std::signal(SIGPIPE, SIG_IGN);
  return kesu_server::Main(argc, argv);
}

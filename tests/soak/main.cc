// Makes very many lookups through servers that misbehave, and sees to it that each ends once and
// rightly, that nothing hangs, and that nothing is left behind. The first fault found ends it.

#include <algorithm>
#include <deque>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <random>

#include <malloc.h>
#include <unistd.h>

#include "dovi/deployment_settings.h"
#include "kesu/common/base/logging.h"
#include "kesu/mux/mobile_service_mux.h"

#include "server_process.h"
#include "subject.h"
#include "tools/kesu/session.h"

namespace {

using common_base::RequestInterface;
using common_kesu::MobileServiceMux;

constexpr unsigned kRoundPatienceSeconds = 120;
constexpr unsigned kTickMs = 5;
/// More than an exchange takes, and less, so that some are given up.
constexpr int kPatientTimeoutMs = 30'000;
constexpr int kImpatientTimeoutMs = 700;
constexpr gint64 kOutageMicroseconds = 200'000;

/// What is still allocated for good in the first rounds, and what may come later.
constexpr int kRoundsToWarmUp = 3;
constexpr long kHeapAllowanceKb = 256;
constexpr long kResidentAllowanceKb = 3072;

/// The first server has no faults, and the second none that makes a lookup fail; its answers come
/// out empty, deliberately.
constexpr std::size_t kServers = 5;
constexpr std::size_t kGoodServer = 0;
constexpr std::size_t kEmptyServer = 1;

constexpr const char* kFaults[] = {
    "status=502:1", "status=500:1", "status=501:1", "status=503:1", "status=550:1",
    "status=204:1", "status=304:1", "delay=30:3",   "delay=250:1",  "delay=60000:1",
    "drop:1",       "cut=0:1",      "cut=40:1",     "cut=200:1",    "chunked:1",
    "version=2:1",  "garbage:1",    "omit=2:2",     "omit=1:1",     "content-type=text/html:1",
    "encoding=x:2"};
constexpr char kNoFault[] = "status=200:2";
constexpr std::size_t kFaultsPerServer = 100;
/// What they make of a lookup: no response, wrong version, retries used up, and HTTP's own; 302 is
/// that of a redirect whose target does not answer in time.
constexpr int kStatusesOfFaults[] = {0, 2, -3, 204, 302, 304, 500, 501, 503, 550};

long DescriptorCount() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::distance(begin(descriptors), end(descriptors));
}

/// Nothing where a sanitizer or valgrind has taken the place of malloc.
long HeapKb() {
  const struct mallinfo2 heap = mallinfo2();
  return static_cast<long>((heap.uordblks + heap.hblkhd) / 1024);
}

long ResidentKb() {
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

class Soak;

/// Where one service after another is used.
struct Client final : common_base::RequesterInterface {
  explicit Client(Soak* soak_in) : soak(soak_in) {}
  void OnRequestComplete(RequestInterface* request) override;
  void OnRequestFailed(RequestInterface* request) override;

  Soak* soak;
  std::unique_ptr<Subject> subject;
  /// Null when no lookup runs.
  RequestInterface* invocation = nullptr;
};

class Soak {
 public:
  Soak(int lookups, int seed, const char* program) : goal_(lookups), random_(seed) {
    for (auto& server : servers_) server = std::make_unique<ServerProcess>(program);
    for (int i = std::clamp(lookups / 30, 10, 300); i > 0; --i) clients_.emplace_back(this);
  }

  void Run() {
    common_base::SetLogLevel(common_base::kLogErrors);
    common_base::SetLogCallback(OnError, this);
    // The default context opens its descriptors.
    g_main_context_wakeup(nullptr);
    for (std::size_t i = 0; i < kServers; ++i) {
      StartServer(i);
      // It can be told to end as soon as it has said where it listens.
      Expect(servers_[i]->Stop(), "a server ends badly");
      StartServer(i);
    }
    idle_descriptors_ = DescriptorCount();
    while (started_ < goal_) RunRound();
    DropServices();
    for (const auto& server : servers_) Expect(server->Stop(), "a server ends badly");
    CheckMemory();
    std::fprintf(stderr, "%d lookups: %d right, %d cancelled", started_, completed_, cancelled_);
    for (const auto& [status, count] : failed_) {
      std::fprintf(stderr, ", %d failed with status %d", count, status);
    }
    std::fputc('\n', stderr);
  }

  void End(Client* client, RequestInterface* request, bool is_complete) {
    Expect(request == client->invocation, "a call back too many");
    client->invocation = nullptr;
    --running_;
    if (is_complete) {
      Expect(client->subject->IsAnswerRight(server_ == kEmptyServer), "a wrong answer");
      ++completed_;
    } else {
      Expect(may_fail_, "a failure without a fault");
      const int status = client->subject->last_status();
      Expect(std::ranges::count(kStatusesOfFaults, status) == 1, "a failure of another kind");
      ++failed_[status];
    }
    // A requester may do anything.
    if (OneIn(8)) client->subject.reset();
    if (OneIn(10)) Disturb();
    if (is_complete || OneIn(4)) StartLookup(client);
  }

 private:
  int Below(std::size_t limit) { return static_cast<int>(random_() % limit); }
  bool OneIn(int count) { return Below(count) == 0; }
  Client* AnyClient() { return &clients_[Below(clients_.size())]; }

  void Expect(bool is_so, const char* fault) const {
    if (is_so) return;
    std::fprintf(stderr, "kesu-soak: %s, after %d lookups, server %zu\n", fault, started_, server_);
    std::_Exit(1);
  }

  static void OnError(const common_base::GString& line, void* soak) {
    common_base::ByteVector text;
    line->ToUtf8Vector(&text);
    text.Append(0);
    static_cast<Soak*>(soak)->Expect(false, reinterpret_cast<const char*>(text.data()));
  }

  void StartServer(std::size_t index) {
    std::vector<std::string> faults;
    if (index == kEmptyServer) faults = {"encoding=g"};
    if (index > kEmptyServer) {
      faults = {"redirect=" + servers_[kGoodServer]->url() + kDoviServicePath + ":2"};
      while (faults.size() < kFaultsPerServer) {
        faults.push_back(OneIn(2) ? kNoFault : kFaults[Below(std::size(kFaults))]);
      }
    }
    Expect(servers_[index]->Start(faults), "a server does not start");
  }

  /// A transport, a multiplexer and one server.
  void RunRound() {
    // A round that does not end is the end of the program.
    alarm(kRoundPatienceSeconds);
    server_ = Below(kServers);
    ServerProcess* server = servers_[server_].get();
    may_fail_ = server_ > kEmptyServer;
    DoviDeploymentSettings settings;
    settings.host = server->url().c_str();
    settings.total_timeout_ms = may_fail_ ? kImpatientTimeoutMs : kPatientTimeoutMs;
    Expect(SetDoviDeploymentSettings(settings), "the settings are refused");

    std::optional<kesu_tool::Session> session(std::in_place);
    // What the last round left behind, and this multiplexer knows nothing of.
    DropServices();
    CheckMemory();
    round_goal_ = std::min(goal_, started_ + 100 + Below(400));
    IterateToEndOfRound(server);

    // Services may go before the multiplexer or after it, and their lookups with them.
    if (OneIn(2)) StopLookups(3);
    MobileServiceMux::DeleteInstance();
    StopLookups(3);
    session.reset();
    StopLookups(3);
    if (server->is_running() && OneIn(4)) Expect(server->Stop(), "a server ends badly");
    if (!server->is_running()) StartServer(server_);
    Expect(DescriptorCount() == idle_descriptors_, "a descriptor left open");
  }

  /// At rest: each service has gone.
  void CheckMemory() {
    const long heap = HeapKb();
    if (++rounds_ <= kRoundsToWarmUp) first_heap_kb_ = heap;
    Expect(heap - first_heap_kb_ <= kHeapAllowanceKb, "memory left allocated");
    const int tenth = static_cast<int>(10LL * started_ / goal_);
    if (tenth <= tenth_) return;
    tenth_ = tenth;
    const long resident = ResidentKb();
    if (first_resident_kb_ == 0) first_resident_kb_ = resident;
    std::fprintf(stderr, "at %d0 %%: %ld KB resident, %ld KB heap, %ld descriptors\n", tenth,
                 resident, heap, DescriptorCount());
    Expect(heap == 0 || resident - first_resident_kb_ <= kResidentAllowanceKb, "the process grows");
  }

  void IterateToEndOfRound(ServerProcess* server) {
    const int kill_at = OneIn(4) ? started_ + 50 + Below(100) : std::numeric_limits<int>::max();
    const bool wants_all_outcomes = !OneIn(3);
    gint64 end_of_outage = 0;
    const guint tick = g_timeout_add(kTickMs, OnTick, this);
    while (started_ < round_goal_ || (wants_all_outcomes && running_ > 0)) {
      g_main_context_iteration(nullptr, TRUE);
      if (started_ >= kill_at && end_of_outage == 0) {
        server->Kill();
        may_fail_ = true;
        end_of_outage = g_get_monotonic_time() + kOutageMicroseconds;
      }
      if (!server->is_running() && g_get_monotonic_time() >= end_of_outage) StartServer(server_);
    }
    g_source_remove(tick);
  }

  static gboolean OnTick(void* data) {
    auto* soak = static_cast<Soak*>(data);
    if (soak->OneIn(8)) MobileServiceMux::GetInstance()->ResumeAll();
    for (int i = 0; i < 8; ++i) soak->StartLookup(soak->AnyClient());
    return G_SOURCE_CONTINUE;
  }

  void StartLookup(Client* client) {
    if (client->invocation != nullptr || started_ >= round_goal_) return;
    if (!client->subject && OneIn(2)) client->subject = std::make_unique<LocationSubject>();
    if (!client->subject) client->subject = std::make_unique<GeocodeSubject>();
    client->subject->SetQuestion(started_, OneIn(10));
    client->invocation = client->subject->NewInvocation();
    ++started_;
    ++running_;
    Expect(client->invocation->Start(client) == 0, "a lookup does not start");
    if (OneIn(10)) Disturb();
  }

  void Disturb() {
    MobileServiceMux* mux = MobileServiceMux::GetInstance();
    const int choice = Below(8);
    if (choice == 0) mux->PauseAll();
    if (choice == 1) mux->FlushPendingRequests();
    if (choice > 1) StopLookup(AnyClient());
  }

  void DropServices() {
    StopLookups(1);
    for (Client& client : clients_) client.subject.reset();
  }

  void StopLookups(int one_in) {
    for (Client& client : clients_) {
      if (OneIn(one_in)) StopLookup(&client);
    }
  }

  void StopLookup(Client* client) {
    RequestInterface* invocation = std::exchange(client->invocation, nullptr);
    if (invocation == nullptr) return;
    ++cancelled_;
    --running_;
    if (OneIn(2)) {
      invocation->Cancel();
    } else {
      client->subject.reset();
    }
  }

  const int goal_;
  std::mt19937 random_;
  std::unique_ptr<ServerProcess> servers_[kServers];
  std::deque<Client> clients_;

  /// Of the round: the index of its server, and so on.
  std::size_t server_ = 0;
  bool may_fail_ = false;
  int round_goal_ = 0;

  int rounds_ = 0;
  int started_ = 0;
  int running_ = 0;
  int completed_ = 0;
  std::map<int, int> failed_;
  int cancelled_ = 0;
  long idle_descriptors_ = 0;
  long first_heap_kb_ = 0;
  /// At the first tenth of the way.
  long first_resident_kb_ = 0;
  int tenth_ = 0;
};

void Client::OnRequestComplete(RequestInterface* request) {
  soak->End(this, request, true);
}

void Client::OnRequestFailed(RequestInterface* request) {
  soak->End(this, request, false);
}

}  // namespace

int main(int argc, char** argv) {
  int lookups = 3000;
  int seed = 1;
  char* program = nullptr;
  const GOptionEntry entries[] = {
      {"lookups", 0, 0, G_OPTION_ARG_INT, &lookups, "How many (default 3000)", "N"},
      {"seed", 0, 0, G_OPTION_ARG_INT, &seed, "Of what happens when (default 1)", "N"},
      {"server", 0, 0, G_OPTION_ARG_FILENAME, &program, "The program kesu-server", "PATH"},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  GOptionContext* context = g_option_context_new("- soak the library in lookups");
  g_option_context_add_main_entries(context, entries, nullptr);
  const bool is_understood = g_option_context_parse(context, &argc, &argv, nullptr) != FALSE;
  g_option_context_free(context);
  if (!is_understood || argc > 1 || program == nullptr) {
    std::fputs("usage: kesu-soak --server PATH [--lookups N] [--seed N]\n", stderr);
    return 1;
  }
  // Where the trace lines of the library go.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;
  Soak(lookups, seed, program).Run();
  g_free(program);
  return 0;
}

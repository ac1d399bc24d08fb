// Makes very many lookups through a server that misbehaves, and sees to it that each ends once,
// that nothing hangs, and that nothing is left behind. The first fault found ends the program.

#include <algorithm>
#include <deque>
#include <filesystem>
#include <random>

#include <malloc.h>
#include <unistd.h>

#include "dovi/deferred_request_source.h"
#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/services/location_service.h"

namespace {

using common_kesu::MobileServiceMux;

constexpr int kLookupsPerRound = 1000;
constexpr int kClients = 200;
/// Less than some faults take.
constexpr int kTimeoutMs = 400;
constexpr std::size_t kHeapAllowance = 256 << 10;
/// What a command line takes.
constexpr int kMostFaults = 5000;
constexpr const char* kFaults[] = {"status=502", "status=500", "delay=30", "delay=60000", "drop",
                                   "cut=40",     "cut=200",    "chunked",  "version=2",   "garbage",
                                   "omit=2",     "status=204", "cut=0",    "status=200"};

void Expect(bool is_so, const char* fault) {
  if (is_so) return;
  std::fprintf(stderr, "kesu-soak: %s\n", fault);
  std::_Exit(1);
}

/// The library in working order.
struct Session {
  Session() { MobileServiceMux::Initialize(&factory, &queue, &clock, new common_kesu::MuxConfig); }
  ~Session() { MobileServiceMux::DeleteInstance(); }

  DoviHttpRequestFactory factory;
  common_base::MonotonicClock clock;
  common_base::SimpleRequestQueue queue{&clock};
  DeferredRequestSource timer{&queue, &clock};
};

/// One lookup after another.
struct Client final : common_base::RequesterInterface {
  void OnRequestComplete(common_base::RequestInterface* request) override {
    Expect(std::exchange(invocation, nullptr) == request, "a call back too many");
  }
  void OnRequestFailed(common_base::RequestInterface* request) override {
    OnRequestComplete(request);
  }

  common_kesu::LocationService service{common_kesu::kLBSServiceUri, new lbs::GLocRequest};
  common_base::RequestInterface* invocation = nullptr;
};

void RunRound(std::mt19937* random) {
  const auto one_in = [random](unsigned count) { return (*random)() % count == 0; };
  std::deque<Client> clients(kClients);
  const Session session;
  for (int started = 0; started < kLookupsPerRound;) {
    Client& client = clients[(*random)() % kClients];
    if (client.invocation == nullptr) {
      client.service.set_send_immediately(one_in(8));
      client.invocation = client.service.NewInvocation();
      Expect(client.invocation->Start(&client) == 0, "a lookup does not start");
      ++started;
    } else if (one_in(4)) {
      std::exchange(client.invocation, nullptr)->Cancel();
    }
    g_main_context_iteration(nullptr, one_in(4));
  }
  const auto is_running = [](const Client& client) { return client.invocation != nullptr; };
  const bool waits_for_all = !one_in(3);
  while (waits_for_all && std::ranges::any_of(clients, is_running)) {
    g_main_context_iteration(nullptr, TRUE);
  }
  // Services may go before the multiplexer or after it, and their lookups with them.
  if (one_in(2)) clients.clear();
}

}  // namespace

int main(int argc, char** argv) {
  Expect(argc == 3, "usage: kesu-soak KESU-SERVER LOOKUPS");
  const int lookups = static_cast<int>(std::strtol(argv[2], nullptr, 10));
  std::mt19937 random(1);
  std::string command = std::string("exec setpriv --pdeathsig KILL ") + argv[1] + " --port 0";
  for (int i = std::min(lookups / 3, kMostFaults); i > 0; --i) {
    command += std::string(" --fault ") + kFaults[random() % std::size(kFaults)] + ":1";
  }
  char url[100] = "";
  Expect(std::fscanf(popen(command.c_str(), "r"), "listening on %99s", url) == 1, "no server");
  SetDoviDeploymentSettings({url, "", "", 0, kTimeoutMs, false, DoviTraceTarget::kNowhere});
  std::size_t first_heap = 0;
  long first_descriptors = 0;
  for (int round = 0; round * kLookupsPerRound < lookups; ++round) {
    // A round that does not end is the end of the program.
    alarm(60);
    RunRound(&random);
    const std::size_t heap = mallinfo2().uordblks + mallinfo2().hblkhd;
    const auto descriptors =
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    if (round == 0) first_heap = heap, first_descriptors = descriptors;
    Expect(heap <= first_heap + kHeapAllowance, "memory is left allocated");
    Expect(descriptors <= first_descriptors, "descriptors are left open");
  }
}

#include "client/engine.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "client/call_state.h"
#include "client/network_watch.h"
#include "client/text.h"
#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"
#include "dovi/glibcurl.h"
#include "kesu/common/base/logging.h"
#include "kesu/common/net/proto/decode_budget.h"
#include "kesu/mux/mobile_service_mux.h"

namespace kesu::detail {
namespace {

using common_base::kTicksPerMillisecond;
using common_kesu::MobileServiceMux;

/// The longest wait of a request, as a multiple of the shortest.
constexpr int kMaxBatchWaits = 10;

/// What the clients of the process have agreed upon.
struct Agreement {
  std::mutex mutex;
  int clients = 0;
  std::optional<EngineSettings> settings;
  std::shared_ptr<LiveCounters> counters;
};

Agreement& TheAgreement() {
  static Agreement agreement;
  return agreement;
}

common_kesu::MuxConfig* NewConfig(const EngineSettings& settings) {
  auto* config = new common_kesu::MuxConfig;
  config->product = GStringOf(settings.product);
  config->version = GStringOf(settings.version);
  config->platform = GStringOf(settings.platform);
  config->locale = GStringOf(settings.locale);
  config->service_url = GStringOf(settings.server + kDoviServicePath);
  return config;
}

}  // namespace

EngineSettings::EngineSettings(const Options& options)
    : server(options.server),
      product(options.product),
      version(options.version),
      platform(options.platform),
      locale(options.locale),
      proxy(options.proxy),
      ca_file(options.ca_file),
      batch_wait(options.batch_wait),
      reply_memory_limit(options.reply_memory_limit),
      pause_without_network(options.pause_without_network),
      reconnect_on_network_change(options.reconnect_on_network_change),
      clock(options.clock) {}

long long EngineClock::GetUtcTime() const {
  return clock_ == nullptr ? PosixClock::GetUtcTime() : clock_->Utc().count();
}

long long EngineClock::TickCount() const {
  return clock_ == nullptr ? common_base::MonotonicClock().TickCount()
                           : clock_->Monotonic().count();
}

/// Counts what goes out.
class Engine::Transport final : public HttpRequestFactory {
 public:
  explicit Transport(LiveCounters* counters) : counters_(counters) {
    if (transport_for_tests == nullptr) own_.emplace();
  }

  /// Why it does not work, or null.
  const char* refusal() const { return own_ ? own_->refusal() : nullptr; }
  void OnNetworkChanged() {
    if (own_) own_->NetworkHasChanged();
  }

  HttpRequestInterface* NewHttpGetRequest(const common_base::GString& url,
                                          common_base::ByteVector* response_body,
                                          StatusInfo* status_info) override {
    return factory()->NewHttpGetRequest(url, response_body, status_info);
  }
  HttpRequestInterface* NewHttpPostRequest(const common_base::GString& url,
                                           const common_base::ByteView* body,
                                           common_base::ByteVector* response_body,
                                           StatusInfo* status_info) override {
    ++counters_->posts;
    counters_->bytes_out.Add(static_cast<std::uint64_t>(body->length()));
    return factory()->NewHttpPostRequest(url, body, response_body, status_info);
  }

 private:
  HttpRequestFactory* factory() { return own_ ? &*own_ : transport_for_tests; }

  LiveCounters* counters_;
  std::optional<DoviHttpRequestFactory> own_;
};

Engine* Engine::instance_ = nullptr;

bool Engine::Reserve(const EngineSettings& settings, std::shared_ptr<LiveCounters>* counters) {
  Agreement& agreement = TheAgreement();
  const std::lock_guard lock(agreement.mutex);
  if (agreement.clients > 0 && agreement.settings != settings) return false;
  if (agreement.clients == 0) {
    agreement.settings = settings;
    agreement.counters = std::make_shared<LiveCounters>();
  }
  ++agreement.clients;
  *counters = agreement.counters;
  return true;
}

bool Engine::Enter(const Options* options, const std::shared_ptr<LiveCounters>& counters) {
  if (instance_ == nullptr) {
    if (MobileServiceMux::InstanceExists() || glibcurl_handle() != nullptr) return false;
    instance_ = new Engine(options, counters);
    if (instance_->transport_->refusal() != nullptr) {
      delete std::exchange(instance_, nullptr);
      return false;
    }
    instance_->WatchNetwork();
    return true;
  }
  instance_->clients_.push_back(options);
  instance_->ApplySettings();
  return true;
}

void Engine::Leave(const Options* options) {
  if (instance_ != nullptr) {
    std::erase(instance_->clients_, options);
    if (instance_->clients_.empty()) delete std::exchange(instance_, nullptr);
  }
  if (instance_ != nullptr) instance_->ApplySettings();
  Agreement& agreement = TheAgreement();
  const std::lock_guard lock(agreement.mutex);
  --agreement.clients;
}

Engine::Engine(const Options* options, std::shared_ptr<LiveCounters> counters)
    : clients_{options},
      counters_(std::move(counters)),
      clock_(options->clock),
      queue_(&clock_),
      timer_(&queue_, &clock_) {
  // The trace begins with the making of the transport.
  ApplySettings();
  transport_ = std::make_unique<Transport>(counters_.get());
  const EngineSettings settings(*options);
  StartMultiplexer(settings);
  StartDeadlines();
}

void Engine::WatchNetwork() {
  const Options& options = *clients_.front();
  const bool is_wanted = options.pause_without_network || options.reconnect_on_network_change;
  if (!is_wanted || transport_for_tests != nullptr) return;
  network_watch_ = NetworkWatch::Make(options.proxy.empty() ? options.server : options.proxy);
}

Engine::~Engine() {
  network_watch_.reset();
  g_source_destroy(deadline_source_);
  g_source_unref(deadline_source_);
  MobileServiceMux::DeleteInstance();
  transport_.reset();
  // Nobody is left to take them.
  ApplySettings();
}

void Engine::StartMultiplexer(const EngineSettings& settings) {
  MobileServiceMux::Initialize(transport_.get(), &queue_, &clock_, NewConfig(settings));
  const long long ticks = settings.batch_wait.count() * kTicksPerMillisecond;
  MobileServiceMux::GetInstance()->SetBatchDelays(ticks, kMaxBatchWaits * ticks);
  common_net_proto::SetDecodeMemoryLimit(settings.reply_memory_limit);
}

void Engine::ApplySettings() {
  DoviDeploymentSettings settings = GetDoviDeploymentSettings();
  settings.trace = DoviTraceTarget::kNowhere;
  std::chrono::milliseconds longest_deadline(0);
  int log_level = common_base::kLogNothing;
  for (const Options* options : clients_) {
    settings.host = options->server.c_str();
    settings.proxy = options->proxy.c_str();
    settings.ca_file = options->ca_file.c_str();
    longest_deadline = std::max(longest_deadline, options->deadline);
    if (options->trace) settings.trace = DoviTraceTarget::kCallback;
    if (options->log) log_level = std::max(log_level, static_cast<int>(options->log_level));
  }
  // An exchange that none of its calls waits for any more does not go on for ever.
  settings.connect_timeout_ms = static_cast<int>(longest_deadline.count());
  settings.total_timeout_ms = settings.connect_timeout_ms;
  settings.trace_callback = [](const char* text, void*) {
    if (instance_ != nullptr) instance_->Trace(text);
  };
  SetDoviDeploymentSettings(settings);

  // A log that the application has set up by itself is left alone.
  const bool wants_log = log_level != common_base::kLogNothing;
  if (!wants_log && !has_log_) return;
  has_log_ = wants_log;
  const auto log = [](const common_base::GString& line, void*) {
    if (instance_ != nullptr) instance_->Log(TextOf(line));
  };
  common_base::SetLogCallback(wants_log ? +log : nullptr, nullptr);
  common_base::SetLogLevel(log_level);
}

void Engine::Trace(std::string_view text) {
  for (const Options* options : clients_) {
    if (options->trace) options->trace(text);
  }
}

void Engine::Log(std::string_view line) {
  for (const Options* options : clients_) {
    if (options->log) options->log(line);
  }
}

void Engine::CountBytesIn() {
  const auto now = static_cast<unsigned>(MobileServiceMux::GetInstance()->bytes_received());
  counters_->bytes_in.Add(now - std::exchange(bytes_in_, now));
}

void Engine::OnRouteChanged(bool is_there) {
  if (!clients_.front()->pause_without_network) return;
  is_without_route_ = !is_there;
  MobileServiceMux* const mux = MobileServiceMux::GetInstance();
  is_there ? mux->ResumeAll() : mux->PauseAll();
}

void Engine::OnNetworkChanged() {
  if (clients_.front()->reconnect_on_network_change) transport_->OnNetworkChanged();
}

/// The timer of the deadlines.
struct Engine::DeadlineSource {
  static gboolean Prepare(GSource*, gint* timeout_ms) {
    *timeout_ms = -1;
    if (instance_ == nullptr || instance_->deadlines_.empty()) return FALSE;
    const long long ticks = instance_->deadlines_.begin()->first - instance_->clock_.TickCount();
    const long long rounded_up = (ticks + kTicksPerMillisecond - 1) / kTicksPerMillisecond;
    *timeout_ms = static_cast<gint>(std::clamp<long long>(rounded_up, 0, G_MAXINT));
    return ticks <= 0;
  }
  static gboolean Check(GSource* source) {
    gint timeout_ms = 0;
    return Prepare(source, &timeout_ms);
  }
  static gboolean Dispatch(GSource* source, GSourceFunc, gpointer) noexcept {
    // Those that are added from inside a callback are not due yet, whatever the clock does.
    const long long now = instance_->clock_.TickCount();
    // A callback may destroy the last client, and make another with an engine of its own.
    while (instance_ != nullptr && instance_->deadline_source_ == source) {
      const auto first = instance_->deadlines_.begin();
      if (first == instance_->deadlines_.end() || first->first > now) break;
      first->second->Expire();
    }
    return G_SOURCE_CONTINUE;
  }
  static inline GSourceFuncs functions = {Prepare, Check, Dispatch, nullptr, nullptr, nullptr};
};

void Engine::StartDeadlines() {
  deadline_source_ = g_source_new(&DeadlineSource::functions, sizeof(GSource));
  g_source_set_can_recurse(deadline_source_, TRUE);
  g_source_attach(deadline_source_, nullptr);
}

}  // namespace kesu::detail

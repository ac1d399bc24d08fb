#include "here/run.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

#include "here/faults.h"
#include "here/modem_listener.h"
#include "here/wifi_listener.h"

namespace kesu::here::detail {
namespace {

constexpr std::chrono::milliseconds kMinDeadline(1);
constexpr std::chrono::milliseconds kMaxDeadline = std::chrono::hours(24);

/// What is asked within it answers on the default main context.
class DefaultContext {
 public:
  DefaultContext() { g_main_context_push_thread_default(nullptr); }
  DefaultContext(const DefaultContext&) = delete;
  DefaultContext& operator=(const DefaultContext&) = delete;
  ~DefaultContext() { g_main_context_pop_thread_default(nullptr); }
};

template <typename T>
void Append(std::vector<T>&& more, std::vector<T>* all) {
  std::move(more.begin(), more.end(), std::back_inserter(*all));
}

}  // namespace

Run::Run(const Options& options, std::function<void(const Sightings&)> callback)
    : options_(options), callback_(std::move(callback)) {}

void Run::Start() {
  self_ = shared_from_this();
  const auto begin = +[](void* run) -> gboolean {
    static_cast<Run*>(run)->AskForBus();
    return G_SOURCE_REMOVE;
  };
  const auto end = +[](void* run) -> gboolean {
    static_cast<Run*>(run)->EndNow();
    return G_SOURCE_REMOVE;
  };
  start_.Start(0, begin, this);
  const auto deadline = std::clamp(options_.deadline, kMinDeadline, kMaxDeadline);
  deadline_.Start(static_cast<guint>(deadline.count()), end, this);
}

void Run::Cancel() {
  // It goes last: with it may go what it holds.
  const std::function<void(const Sightings&)> callback = std::exchange(callback_, nullptr);
  Release();
}

void Run::Release() {
  start_.Stop();
  deadline_.Stop();
  g_cancellable_cancel(cancellable_.get());
  const DefaultContext context;
  listeners_.clear();
  // What is under way at libnm and libmm keeps it until that has heard that it is cancelled.
  bus_.reset();
  self_.reset();
}

/// A connection that is shared with others would end the process when the bus goes.
void Run::AskForBus() {
  GError* error = nullptr;
  char* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
  const ErrorPointer error_owner(error);
  if (address == nullptr) {
    EndWithout(*error);
    return;
  }
  const DefaultContext context;
  constexpr auto kFlags =
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  g_dbus_connection_new_for_address(address, kFlags, nullptr, cancellable_.get(), OnBus,
                                    Asker(shared_from_this()));
  g_free(address);
}

void Run::OnBus(GObject*, GAsyncResult* result, void* asker) {
  GError* error = nullptr;
  ObjectPointer<GDBusConnection> bus(g_dbus_connection_new_for_address_finish(result, &error));
  const ErrorPointer error_owner(error);
  const std::shared_ptr<Run> self = TakeAsker<Run>(asker);
  if (self == nullptr || !self->is_pending()) return;
  if (bus == nullptr) {
    self->EndWithout(*error);
    return;
  }
  self->bus_ = std::move(bus);
  self->AskSources();
}

void Run::AskSources() {
  const auto told = [this](Sightings sightings) { OnTold(std::move(sightings)); };
  listeners_ = {std::make_shared<WifiListener>(options_, told),
                std::make_shared<ModemListener>(options_, told)};
  const DefaultContext context;
  for (const std::shared_ptr<Listener>& listener : listeners_) listener->Start(bus_.get());
}

void Run::OnTold(Sightings told) {
  Observation* all = &sightings_.observation;
  Append(std::move(told.observation.cells), &all->cells);
  Append(std::move(told.observation.access_points), &all->access_points);
  if (told.observation.fix) all->fix = told.observation.fix;
  Append(std::move(told.missing), &sightings_.missing);
  if (++told_ == listeners_.size()) Finish();
}

void Run::EndNow() {
  if (listeners_.empty()) {
    const ErrorPointer error(
        g_error_new_literal(G_IO_ERROR, G_IO_ERROR_TIMED_OUT, "the bus did not answer in time"));
    EndWithout(*error);
    return;
  }
  // The last one ends the run.
  const std::vector<std::shared_ptr<Listener>> listeners = listeners_;
  const std::shared_ptr<Run> self = shared_from_this();
  for (const std::shared_ptr<Listener>& listener : listeners) listener->EndNow();
}

void Run::EndWithout(const GError& error) {
  for (const Source source : {Source::kNetworkManager, Source::kModemManager}) {
    Missing missing = MissingAfter(source, error);
    if (missing.fault != Fault::kTimedOut && missing.fault != Fault::kNoPermission) {
      missing.fault = Fault::kNoBus;
    }
    missing.message = std::string("no system bus: ") + error.message;
    sightings_.missing.push_back(std::move(missing));
  }
  Finish();
}

void Run::Finish() {
  const std::shared_ptr<Run> self = shared_from_this();
  const std::function<void(const Sightings&)> callback = std::exchange(callback_, nullptr);
  Sightings sightings = std::move(sightings_);
  std::sort(sightings.missing.begin(), sightings.missing.end(),
            [](const Missing& a, const Missing& b) { return a.source < b.source; });
  Release();
  callback(sightings);
}

}  // namespace kesu::here::detail

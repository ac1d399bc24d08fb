#include "client/client_core.h"

#include <algorithm>
#include <utility>

#include "client/call_state.h"
#include "client/location_messages.h"
#include "dovi/deployment_settings.h"

namespace kesu::detail {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongestDeadline = std::chrono::hours(24);
constexpr milliseconds kLongestBatchWait = std::chrono::minutes(1);

Error Misuse(std::string message) {
  return {ErrorKind::kMisuse, std::move(message)};
}

bool IsServer(const std::string& server) {
  const auto is_odd = [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7F'; };
  const bool has_scheme = server.starts_with("http://") || server.starts_with("https://");
  return has_scheme && !server.ends_with('/') && std::none_of(server.begin(), server.end(), is_odd);
}

/// Why a client cannot work like that; of kind kNone where it can.
Error FaultOf(const Options& options) {
  if (options.server.empty()) return Misuse("the client has no server");
  if (!IsServer(options.server)) {
    return Misuse("\"" + options.server + "\" is no server: https://HOST or https://HOST:PORT");
  }
  if (options.server.size() + sizeof(kDoviServicePath) > kDoviUrlBufferSize) {
    return Misuse("the name of the server is too long");
  }
  if (options.deadline < milliseconds(1) || options.deadline > kLongestDeadline) {
    return Misuse("the deadline is not within a millisecond and a day");
  }
  if (options.batch_wait < milliseconds(0) || options.batch_wait > kLongestBatchWait) {
    return Misuse("the wait for a batch is not within nothing and a minute");
  }
  if (options.reply_memory_limit <= 0) return Misuse("a reply may take no memory at all");
  if (options.cache_lifetime < milliseconds(0)) {
    return Misuse("the lifetime of the cache is negative");
  }
  return {};
}

Error InUse() {
  return Misuse("the multiplexer or the transport is used by something other than a client");
}

Options Tidy(Options options) {
  while (options.server.ends_with('/')) options.server.pop_back();
  return options;
}

}  // namespace

ClientCore::ClientCore(Options options)
    : locations(options.cache_lifetime, options.cache_capacity),
      places(options.cache_lifetime, options.cache_capacity),
      options_(Tidy(std::move(options))),
      platform_key_(options_.platform_key) {}

void ClientCore::Join() {
  const Error fault = FaultOf(options_);
  if (fault.kind != ErrorKind::kNone) {
    error_ = fault;
    return;
  }
  if (!Engine::Reserve(EngineSettings(options_), &counters_)) {
    error_ = Misuse("another client of this process has other settings, such as another server");
    return;
  }
  has_reserved_ = true;
  const LoopHold hold;
  if (!hold.is_held()) {
    PostTo(nullptr, [self = shared_from_this()] { self->JoinOnLoop(); });
    return;
  }
  JoinOnLoop();
  if (has_no_engine_) error_ = InUse();
}

void ClientCore::JoinOnLoop() {
  // What was posted to the loop may come behind what found it free, a call or the end.
  if (has_left_ || std::exchange(has_joined_, true)) return;
  has_no_engine_ = !Engine::Enter(&options_, counters_);
}

void ClientCore::Leave() {
  if (!has_reserved_) return;
  RunOnLoop([self = shared_from_this()] { self->LeaveOnLoop(); });
}

void ClientCore::LeaveOnLoop() {
  has_left_ = true;
  while (!open_calls_.empty()) {
    open_calls_.front()->Fail({ErrorKind::kCancelled, "the client is gone"});
  }
  Engine::Leave(&options_);
}

void ClientCore::SetPaused(bool is_paused) {
  if (!has_reserved_) return;
  RunOnLoop([self = shared_from_this(), is_paused] {
    self->is_paused_ = is_paused;
    if (is_paused || self->has_left_) return;
    for (const auto& call : self->open_calls_) call->Submit();
  });
}

Error ClientCore::Open(CallState* call) {
  if (has_left_) return {ErrorKind::kCancelled, "the client is gone"};
  JoinOnLoop();
  if (has_no_engine_) return InUse();
  call->place_ = open_calls_.insert(open_calls_.end(), call->shared_from_this());
  call->deadline_ = Engine::Get()->AddDeadline(call->due_tick_, call);
  call->is_open_ = true;
  return {};
}

void ClientCore::Submit(CallState* call) {
  if (!is_paused_) call->Submit();
}

void ClientCore::Close(CallState* call) {
  call->is_open_ = false;
  Engine::Get()->RemoveDeadline(call->deadline_);
  open_calls_.erase(call->place_);
}

Error ClientCore::TimeoutError() const {
  std::string message =
      "no answer within " + std::to_string(options_.deadline.count()) + " milliseconds";
  if (is_paused_) message += ": the client is paused";
  if (Engine::Get()->is_without_route()) message += ": there is no route to the service";
  return {ErrorKind::kTimedOut, std::move(message)};
}

const common_base::ByteVector& ClientCore::AskerBytes() {
  const std::lock_guard lock(mutex_);
  if (asker_bytes_.IsEmpty() || asker_key_ != platform_key_) {
    lbs::GLocRequest asker;
    WriteAsker(options_, platform_key_, &asker);
    asker_bytes_.Clear();
    common_base::DataOutputStream stream(&asker_bytes_);
    asker.Write(&stream);
    asker_key_ = platform_key_;
  }
  return asker_bytes_;
}

std::string ClientCore::platform_key() const {
  const std::lock_guard lock(mutex_);
  return platform_key_;
}

void ClientCore::set_platform_key(std::string key) {
  const std::lock_guard lock(mutex_);
  platform_key_ = std::move(key);
}

void ClientCore::RememberLocation(const Location& location) {
  const std::lock_guard lock(mutex_);
  last_location_ = location;
  last_location_tick_ = Now();
}

std::optional<Client::LastLocation> ClientCore::last_location() const {
  const std::lock_guard lock(mutex_);
  if (!last_location_) return std::nullopt;
  const std::chrono::microseconds age(Now() - last_location_tick_);
  return Client::LastLocation{*last_location_, std::chrono::duration_cast<milliseconds>(age)};
}

}  // namespace kesu::detail

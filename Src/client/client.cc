#include "client/client.h"

#include <utility>

#include "client/calls.h"
#include "client/privacy_filter.h"

namespace kesu {
namespace {

using detail::ClientCore;

template <typename State, typename... Arguments>
std::shared_ptr<State> Begin(const std::shared_ptr<ClientCore>& core, const Error& refusal,
                             Arguments&&... arguments) {
  auto state = std::make_shared<State>(core, std::forward<Arguments>(arguments)...);
  state->Start(core->error().value_or(refusal));
  return state;
}

}  // namespace

Call::Call() = default;
Call::Call(Call&& other) noexcept = default;
Call::Call(std::shared_ptr<detail::CallState> state) : state_(std::move(state)) {}

Call& Call::operator=(Call&& other) noexcept {
  Call old(std::exchange(state_, std::exchange(other.state_, nullptr)));
  return *this;
}

Call::~Call() {
  Cancel();
}

void Call::Cancel() {
  if (const auto state = std::exchange(state_, nullptr)) state->Cancel();
}

void Call::Detach() {
  state_ = nullptr;
}

bool Call::is_pending() const {
  return state_ && state_->is_pending();
}

Client::Client(Options options) : core_(std::make_shared<ClientCore>(std::move(options))) {
  core_->Join();
}

Client::~Client() {
  core_->Leave();
}

const std::optional<Error>& Client::error() const {
  return core_->error();
}

kesu::Call Client::Locate(const Observation& observation,
                          std::function<void(const LocateResult&)> callback) {
  auto told = detail::WhatMayBeTold(observation, core_->options().locate_single_access_point);
  const Error refusal = told.error();
  return kesu::Call(Begin<detail::LocateCall>(
      core_, refusal, told ? std::move(*told) : Observation(), std::move(callback)));
}

kesu::Call Client::Reverse(const Point& point, std::function<void(const ReverseResult&)> callback) {
  return Reverse(std::vector<Point>{point},
                 [callback = std::move(callback)](const std::vector<ReverseResult>& places) {
                   if (callback) callback(places.front());
                 });
}

kesu::Call Client::Reverse(const std::vector<Point>& points,
                           std::function<void(const std::vector<ReverseResult>&)> callback) {
  return kesu::Call(Begin<detail::ReverseCall>(core_, {}, points, std::move(callback)));
}

kesu::Call Client::CallBytes(std::string_view service, std::string_view request,
                             std::function<void(const Result<std::string>&)> callback) {
  return kesu::Call(Begin<detail::BytesCall>(core_, {}, service, request, std::move(callback)));
}

kesu::Call Client::Refuse(std::function<void(const Result<std::string>&)> callback) {
  const Error refusal{ErrorKind::kMisuse, "messages are for the thread of the main loop only"};
  return kesu::Call(Begin<detail::BytesCall>(core_, refusal, "", "", std::move(callback)));
}

bool Client::IsOnLoop() {
  return g_main_context_get_thread_default() == nullptr && detail::LoopHold().is_held();
}

void Client::Pause() {
  core_->SetPaused(true);
}

void Client::Resume() {
  core_->SetPaused(false);
}

std::string Client::platform_key() const {
  return core_->platform_key();
}

void Client::set_platform_key(std::string key) {
  core_->set_platform_key(std::move(key));
}

std::optional<Client::LastLocation> Client::last_location() const {
  return core_->last_location();
}

Counters Client::counters() const {
  return core_->counters().Read();
}

}  // namespace kesu

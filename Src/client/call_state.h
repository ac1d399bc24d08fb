#ifndef CLIENT_CALL_STATE_H_
#define CLIENT_CALL_STATE_H_

#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "client/client_core.h"
#include "client/error.h"
#include "client/loop.h"
#include "client/service_request.h"

namespace kesu::detail {

/// One call, which two sides share: the caller's, where it is started, told of and cancelled, and
/// that of the loop, where it is worked on. It ends on the loop's side when its outcome is settled,
/// and on the caller's when that has been told, or must not be any more.
class CallState : public std::enable_shared_from_this<CallState> {
 public:
  explicit CallState(std::shared_ptr<ClientCore> client);
  CallState(const CallState&) = delete;
  CallState& operator=(const CallState&) = delete;
  virtual ~CallState() = default;

  // The caller's side.

  /// Begins, or refuses to with an error that is of another kind than kNone.
  void Start(const Error& refusal);
  void Cancel();
  bool is_pending() const { return !is_closed_; }

  // The loop's side.

  /// Hands over what Begin() asked.
  void Submit();
  void Fail(const Error& error);
  /// Fails, and tells at once where the loop's context is the caller's. From the main loop itself.
  void Expire();

 protected:
  ClientCore& client() const { return *client_; }

  /// Asks, or settles the outcome already.
  virtual void Begin() = 0;
  /// `index` counts what was asked.
  virtual void OnResponse(std::size_t index, const common_kesu::Response& response) = 0;
  /// In place of whatever is missing of the outcome.
  virtual void SetError(const Error& error) = 0;
  virtual ErrorKind kind_of_outcome() const = 0;
  /// Calls the callback with the outcome, and forgets it.
  virtual void Tell() = 0;
  virtual void ForgetCallback() = 0;

  void Ask(std::string_view service, common_base::ByteVector payload);
  /// The outcome is there.
  void Finish();

 private:
  friend class ClientCore;

  void StartOnLoop();
  void Settle();
  void TellOutcome();

  const std::shared_ptr<ClientCore> client_;
  const ContextPointer context_;
  /// Whether the callback is not called any more.
  std::atomic<bool> is_closed_ = false;

  bool is_settled_ = false;
  /// Whether the client has it among its open ones.
  bool is_open_ = false;
  std::vector<std::unique_ptr<ServiceRequest>> requests_;
  /// For the client: its place among those that are open.
  ClientCore::OpenCalls::iterator place_;
  Engine::Deadlines::iterator deadline_;
  const long long due_tick_;
};

/// A call with an outcome of this type.
template <typename Outcome>
class TypedCall : public CallState {
 public:
  using Callback = std::function<void(const Outcome&)>;

  TypedCall(std::shared_ptr<ClientCore> client, Callback callback)
      : CallState(std::move(client)), callback_(std::move(callback)) {}

 protected:
  void SetOutcome(Outcome outcome) { outcome_.emplace(std::move(outcome)); }
  const Outcome& outcome() const { return *outcome_; }

 private:
  void Tell() final {
    // The callback may drop all that holds it.
    const Callback callback = std::exchange(callback_, nullptr);
    if (callback) callback(*outcome_);
  }
  void ForgetCallback() final { callback_ = nullptr; }

  Callback callback_;
  std::optional<Outcome> outcome_;
};

/// One that ends with a value or an error.
template <typename T>
class ResultCall : public TypedCall<Result<T>> {
 protected:
  using TypedCall<Result<T>>::TypedCall;

 private:
  void SetError(const Error& error) final { this->SetOutcome(error); }
  ErrorKind kind_of_outcome() const final { return this->outcome().error().kind; }
};

}  // namespace kesu::detail

#endif  // CLIENT_CALL_STATE_H_

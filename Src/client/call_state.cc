#include "client/call_state.h"

namespace kesu::detail {

CallState::CallState(std::shared_ptr<ClientCore> client)
    : client_(std::move(client)),
      context_(CallersContext()),
      due_tick_(client_->Now() +
                client_->options().deadline.count() * common_base::kTicksPerMillisecond) {}

void CallState::Start(const Error& refusal) {
  ++client_->counters().calls;
  if (refusal.kind == ErrorKind::kNone) {
    RunOnLoop([self = shared_from_this()] { self->StartOnLoop(); });
  } else {
    Fail(refusal);
  }
}

void CallState::Cancel() {
  if (is_closed_.exchange(true)) return;
  RunOnLoop([self = shared_from_this()] {
    if (self->is_settled_) return;
    self->SetError({ErrorKind::kCancelled, "the call was cancelled"});
    self->Settle();
  });
  ForgetCallback();
}

void CallState::StartOnLoop() {
  // It may have been cancelled on the way.
  if (is_settled_) return;
  const Error refusal = client_->Open(this);
  if (refusal.kind != ErrorKind::kNone) return Fail(refusal);
  Begin();
  if (!is_settled_) client_->Submit(this);
}

void CallState::Ask(std::string_view service, common_base::ByteVector payload) {
  const auto on_response = [this, index = requests_.size()](const auto& response) {
    Engine::Get()->CountBytesIn();
    // Too late: told from here it would be told in the next iteration, and its deadline is met in
    // this one.
    if (client_->Now() < due_tick_) OnResponse(index, response);
  };
  requests_.push_back(std::make_unique<ServiceRequest>(service, std::move(payload),
                                                       &client_->counters(), on_response));
}

void CallState::Submit() {
  for (const auto& request : requests_) request->Submit();
}

void CallState::Fail(const Error& error) {
  SetError(error);
  Finish();
}

void CallState::Finish() {
  const auto self = shared_from_this();
  Settle();
  PostTo(context_.get(), [self] { self->TellOutcome(); });
}

void CallState::Expire() {
  const auto self = shared_from_this();
  SetError(client_->TimeoutError());
  Settle();
  if (context_.get() == g_main_context_default()) {
    TellOutcome();
  } else {
    PostTo(context_.get(), [self] { self->TellOutcome(); });
  }
}

/// Nothing but the caller's handle may hold this call afterwards.
void CallState::Settle() {
  is_settled_ = true;
  ++client_->counters().outcomes[static_cast<std::size_t>(kind_of_outcome())];
  requests_.clear();
  if (is_open_) client_->Close(this);
}

void CallState::TellOutcome() {
  if (!is_closed_.exchange(true)) Tell();
}

}  // namespace kesu::detail

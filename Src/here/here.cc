#include "here/here.h"

#include <utility>

#include "here/run.h"

namespace kesu::here {

Call::Call() = default;
Call::Call(Call&& other) noexcept = default;
Call::Call(std::shared_ptr<detail::Run> run) : run_(std::move(run)) {}

Call& Call::operator=(Call&& other) noexcept {
  if (this == &other) return *this;
  Cancel();
  run_ = std::move(other.run_);
  return *this;
}

Call::~Call() {
  Cancel();
}

void Call::Cancel() {
  if (const std::shared_ptr<detail::Run> run = std::exchange(run_, nullptr)) run->Cancel();
}

void Call::Detach() {
  run_.reset();
}

bool Call::is_pending() const {
  return run_ != nullptr && run_->is_pending();
}

Call Observe(const Options& options, std::function<void(const Sightings&)> callback) {
  if (!callback) return {};
  auto run = std::make_shared<detail::Run>(options, std::move(callback));
  run->Start();
  return Call(std::move(run));
}

}  // namespace kesu::here

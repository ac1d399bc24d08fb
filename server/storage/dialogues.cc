#include "server/storage/dialogues.h"

#include <utility>

namespace kesu_server {

void Dialogues::Begin(Step step) {
  const auto dialogue = std::make_shared<Dialogue>();
  dialogue->step = std::move(step);
  Continue(dialogue);
}

void Dialogues::Continue(const std::shared_ptr<Dialogue>& dialogue) {
  using State = Dialogue::State;
  while (dialogue->state == State::kGoesOn) {
    Inquiry inquiry;
    dialogue->step(dialogue->findings, &inquiry);
    if (inquiry.size() == 0) return;
    if (waiting_ >= most_waiting_) {
      dialogue->findings.reset();
      continue;
    }
    dialogue->state = State::kAsks;
    lookup_->Ask(std::move(inquiry), [this, dialogue](std::optional<Findings> findings) {
      dialogue->findings = std::move(findings);
      const bool has_waited = dialogue->state == State::kWaits;
      dialogue->state = State::kGoesOn;
      if (!has_waited) return;
      --waiting_;
      Continue(dialogue);
    });
    if (dialogue->state == State::kGoesOn) continue;
    dialogue->state = State::kWaits;
    ++waiting_;
  }
}

}  // namespace kesu_server

#include "kesu/mux/request_ids.h"

#include "kesu/mux/request.h"

namespace common_kesu {
namespace {

constexpr int kIdCount = 0x10000;

}  // namespace

RequestIds::RequestIds(const RequestList* requests) : requests_(requests) {
  int first = 0;
  while (first < requests_->length() && (*requests_)[first] == nullptr) ++first;
  if (first < requests_->length()) {
    first_id_ = static_cast<unsigned>((*requests_)[first]->id()) - static_cast<unsigned>(first);
  }
  are_in_sequence_ = AreInSequence();
  for (int i = 0; !are_in_sequence_ && i < requests_->length(); ++i) {
    if ((*requests_)[i] != nullptr) indices_.emplace((*requests_)[i]->id(), i);
  }
}

bool RequestIds::AreInSequence() const {
  if (requests_->length() > kIdCount) return false;
  for (int i = 0; i < requests_->length(); ++i) {
    const Request* request = (*requests_)[i];
    const auto expected = static_cast<short>(first_id_ + static_cast<unsigned>(i));
    if (request != nullptr && request->id() != expected) return false;
  }
  return true;
}

int RequestIds::Find(short id) {
  if (are_in_sequence_) {
    const int index = static_cast<unsigned short>(static_cast<unsigned>(id) - first_id_);
    return index < requests_->length() && (*requests_)[index] != nullptr ? index : -1;
  }
  const auto [begin, end] = indices_.equal_range(id);
  for (auto place = begin; place != end; place = indices_.erase(place)) {
    if ((*requests_)[place->second] != nullptr) return place->second;
  }
  return -1;
}

}  // namespace common_kesu

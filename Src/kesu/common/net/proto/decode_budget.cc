#include "kesu/common/net/proto/decode_budget.h"

#include <limits>

namespace common_net_proto {
namespace {

long long limit = kDefaultDecodeMemoryLimit;

}  // namespace

long long DecodeBudget::left_ = std::numeric_limits<long long>::max();

void SetDecodeMemoryLimit(long long bytes) {
  limit = bytes;
}

DecodeBudget::DecodeBudget() : outer_(left_) {
  left_ = limit;
}

DecodeBudget::~DecodeBudget() {
  left_ = outer_;
}

}  // namespace common_net_proto

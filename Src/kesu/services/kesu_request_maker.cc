#include "kesu/services/kesu_request_maker.h"

#include <ctime>

#include <sys/random.h>

namespace common_kesu {
namespace {

using common_base::ByteView;
using common_base::GString;

unsigned NewSeed() {
  unsigned seed = 0;
  if (getrandom(&seed, sizeof seed, GRND_NONBLOCK) == static_cast<ssize_t>(sizeof seed)) {
    return seed;
  }
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<unsigned>(now.tv_nsec);
}

/// Of the process: one call of the system is enough for all makers.
unsigned NextSeed() {
  static std::mt19937 seeds(NewSeed());
  return static_cast<unsigned>(seeds());
}

}  // namespace

KesuRequestMaker::KesuRequestMaker() : KesuRequestMaker(NextSeed()) {}

PlainRequest* KesuRequestMaker::NewKesuRequestFrom(const GString& service_uri,
                                                   const ByteView* payload) {
  auto* request = new PlainRequest(service_uri, ServiceVersion::kVersion1, payload);
  constexpr auto kTimeouts =
      static_cast<unsigned>(kMaxRetryTimeoutTicks - kMinRetryTimeoutTicks + 1);
  request->set_retry_timeout(kMinRetryTimeoutTicks + random_() % kTimeouts);
  return request;
}

}  // namespace common_kesu

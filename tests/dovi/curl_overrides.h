#ifndef TESTS_DOVI_CURL_OVERRIDES_H_
#define TESTS_DOVI_CURL_OVERRIDES_H_

#include <optional>

namespace kesu_test {

/// What some functions of curl answer in place of the truth, for what cannot be provoked
/// otherwise. In force until reset.
struct CurlOverrides {
  std::optional<long> timeout_ms;
  std::optional<int> highest_descriptor;
  bool multi_init_fails = false;
  bool easy_init_fails = false;
  bool add_handle_fails = false;
};

inline CurlOverrides curl_overrides;

}  // namespace kesu_test

#endif  // TESTS_DOVI_CURL_OVERRIDES_H_

#include <cstring>

#include <curl/curl.h>
#include <dlfcn.h>
#include <netdb.h>
#include <unistd.h>

#include "dovi/fixture.h"

using kesu_test::curl_overrides;
using kesu_test::HeldLookups;

// The linker sends each call of NAME to __wrap_NAME; the function itself is __real_NAME.
extern "C" {

CURL* __real_curl_easy_init();
CURL* __wrap_curl_easy_init() {
  return curl_overrides.easy_init_fails ? nullptr : __real_curl_easy_init();
}

CURLM* __real_curl_multi_init();
CURLM* __wrap_curl_multi_init() {
  return curl_overrides.multi_init_fails ? nullptr : __real_curl_multi_init();
}

CURLMcode __real_curl_multi_add_handle(CURLM* multi, CURL* easy);
CURLMcode __wrap_curl_multi_add_handle(CURLM* multi, CURL* easy) {
  if (curl_overrides.add_handle_fails) return CURLM_OUT_OF_MEMORY;
  return __real_curl_multi_add_handle(multi, easy);
}

CURLMcode __real_curl_multi_fdset(CURLM*, fd_set* read, fd_set* write, fd_set* except, int* top);
CURLMcode __wrap_curl_multi_fdset(CURLM* multi, fd_set* read, fd_set* write, fd_set* except,
                                  int* top) {
  const CURLMcode result = __real_curl_multi_fdset(multi, read, write, except, top);
  *top = curl_overrides.highest_descriptor.value_or(*top);
  return result;
}

CURLMcode __real_curl_multi_timeout(CURLM* multi, long* timeout);
CURLMcode __wrap_curl_multi_timeout(CURLM* multi, long* timeout) {
  const CURLMcode result = __real_curl_multi_timeout(multi, timeout);
  *timeout = curl_overrides.timeout_ms.value_or(*timeout);
  return result;
}

gint64 __real_g_get_monotonic_time();
gint64 __wrap_g_get_monotonic_time() {
  return curl_overrides.monotonic_time.value_or(__real_g_get_monotonic_time());
}

/// Keeps what the sanitizer withholds from reuse out of measurements of memory.
const char* __asan_default_options() {
  return "quarantine_size_mb=4";
}

// Curl calls this one, on a thread of its own, in place of the one of the C library, whose
// parameters have reserved names.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result) {
  static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, __func__));
  if (std::strcmp(name, HeldLookups::kName) != 0) return real(name, service, hints, result);
  // With an end, so that a loop that waits for this thread fails its test and nothing hangs.
  for (int i = 0; HeldLookups::is_held && i < 15000; ++i) usleep(1000);
  return real("127.0.0.1", service, hints, result);
}

}  // extern "C"

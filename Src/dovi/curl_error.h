#ifndef DOVI_CURL_ERROR_H_
#define DOVI_CURL_ERROR_H_

#include <curl/curl.h>

#include "kesu/mux/transport_error.h"

/// What a transfer that ended with `result` says to people and programs: the host and port that it
/// was at last, after redirects, and the cause. `details` is curl's error buffer; `refusal` is why
/// we ourselves let it fail, or null. Of a proxy's address and of URLs nothing but host and port is
/// told.
common_kesu::TransportError TransportErrorOf(CURL* done_handle, CURLcode result,
                                             const char* details, const char* refusal);

/// What is said of an exchange with `url` that ran out of time before it could begin.
common_kesu::TransportError ErrorOfWait(const char* url, int waited_ms);

/// Whether the host of a URL, whose scheme may be missing, is an IP address.
bool IsHostAnAddress(const char* url);

#endif  // DOVI_CURL_ERROR_H_

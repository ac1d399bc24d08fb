#ifndef DOVI_EASY_HANDLES_H_
#define DOVI_EASY_HANDLES_H_

#include <curl/curl.h>

/// Curl's easy handles, which are costly to make. Some that are not used any more are kept for the
/// next exchange, of 8 KB each, until ReleaseSpareEasyHandles().

/// A handle as curl_easy_init() makes it, or null.
CURL* TakeEasyHandle();
/// The caller has removed it from its multi handle and does not use it any more.
void GiveBackEasyHandle(CURL* easy);
void ReleaseSpareEasyHandles();

#endif  // DOVI_EASY_HANDLES_H_

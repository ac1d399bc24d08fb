#ifndef DOVI_GLIBCURL_H_
#define DOVI_GLIBCURL_H_

#include <curl/curl.h>

/// One process-wide libcurl multi handle, driven by GLib's default main context through an event
/// source. Everything here is called on the thread that runs that context. A broken contract ends
/// the process with the standard assertion failure, in every build.
///
/// Forks are excluded: a child of the process must not use or destroy anything of this library.
/// What it may do is exec; the connections are closed on it.

/// Called with its data after every dispatch of the source, outside of curl: it may collect
/// finished transfers and add and remove handles, but not call glibcurl_cleanup().
using GlibcurlFunction = void (*)(void* data);

/// Makes and attaches the source and the multi handle. Once, until glibcurl_cleanup().
void glibcurl_init();

/// The multi handle; null before glibcurl_init() and after glibcurl_cleanup().
CURLM* glibcurl_handle();

/// Adds `easy` to the multi handle; the transfer starts with the next iteration of the loop, or,
/// with 64 connections open already, when one of them is free. The handle counts as added even when
/// curl refuses it, so that each call is matched by one glibcurl_remove(). A connection that would
/// get a descriptor above 1023, which the source cannot watch, fails at once.
CURLMcode glibcurl_add(CURL* easy);

/// Takes `easy` out again, finished or not. Curl drops what it still had to report of it.
CURLMcode glibcurl_remove(CURL* easy);

/// Makes the next iteration of the loop perform.
void glibcurl_start();

void glibcurl_set_callback(GlibcurlFunction function, void* data);

/// Undoes glibcurl_init(). Every handle must have been removed.
void glibcurl_cleanup();

#endif  // DOVI_GLIBCURL_H_

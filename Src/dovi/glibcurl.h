#ifndef DOVI_GLIBCURL_H_
#define DOVI_GLIBCURL_H_

#include <curl/curl.h>

/// One process-wide libcurl multi handle, driven by GLib's default main context through an event
/// source. Everything here is called on the thread that runs that context. A broken contract ends
/// the process with the standard assertion failure, in every build.
///
/// Forks are excluded: a child of the process must not use or destroy anything of this library.
/// What it may do is exec; the connections are closed on it.

/// More than that are not open at a time. Keeps descriptors well below 1024, and a large batch from
/// using up the process's.
inline constexpr unsigned kGlibcurlMaxConnections = 64;
/// Of the source, and of others that belong to transfers.
inline constexpr int kGlibcurlPriority = 200;

/// Called with its data after every dispatch of the source, outside of curl: it may collect
/// finished transfers, add and remove handles and run the main loop, but not call
/// glibcurl_cleanup() or throw.
using GlibcurlFunction = void (*)(void* data);

/// Makes and attaches the source and the multi handle. Once, until glibcurl_cleanup().
void glibcurl_init();

/// The multi handle; null before glibcurl_init() and after glibcurl_cleanup().
CURLM* glibcurl_handle();

/// Adds `easy` to the multi handle; the transfer starts with the next iteration of the loop, or,
/// with kGlibcurlMaxConnections in use already, when one of them is free. The handle counts as
/// added even when curl refuses it, so that each call is matched by one glibcurl_remove().
/// Descriptors above 1023 cannot be watched: see glibcurl_manage_connections().
CURLMcode glibcurl_add(CURL* easy);

/// Takes `easy` out again, finished or not. Curl drops what it still had to report of it.
CURLMcode glibcurl_remove(CURL* easy);

/// Gives the connections of `easy` into the care of the source; before glibcurl_add(). It takes the
/// socket functions of `easy` for that, which is why it is not done to every handle. One that would
/// get a descriptor above 1023 then fails at once, and `*refusal`, which must live as long as
/// `easy`, says so. One that has bytes waiting when a transfer begins, or that is older than
/// glibcurl_network_changed(), is not used again.
void glibcurl_manage_connections(CURL* easy, const char** refusal);

/// How many of those connections are open, in use or not.
unsigned glibcurl_connection_count();

/// From now on the transfers that begin use new connections and look names up anew. Allowed at any
/// time.
void glibcurl_network_changed();

/// Whether a transfer may begin to look up a name, which it then must: there are few enough
/// look-ups without an answer. For CURLOPT_RESOLVER_START_FUNCTION.
bool glibcurl_may_look_up();

/// Makes the next iteration of the loop perform.
void glibcurl_start();

void glibcurl_set_callback(GlibcurlFunction function, void* data);

/// Undoes glibcurl_init(). Every handle must have been removed.
void glibcurl_cleanup();

#endif  // DOVI_GLIBCURL_H_

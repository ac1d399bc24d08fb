// The assertions below hold in release builds too, so their declaration must be there.
#undef NDEBUG
#include "dovi/glibcurl.h"

#include <algorithm>
#include <cassert>
#include <ctime>
#include <utility>

#include <glib.h>
#include <sys/select.h>

#include "dovi/curl_descriptors.h"
#include "dovi/deployment_settings.h"
#include "dovi/trace.h"

namespace {

constexpr int kMaxDescriptors = CurlDescriptors::kCount;

/// A value of CurlSource::runningHandles.
constexpr int kPerformAtOnce = -1;
constexpr gint kWaitForever = -1;
constexpr gint kLongestWaitMs = 1000;
/// That of curl, unless the network has changed since.
constexpr gint64 kDnsCacheSeconds = 60;

/// The record that g_source_new makes, zero-filled.
struct CurlSource {
  GSource source;
  CURLM* multiHandle;
  /// Entry i is for descriptor i; it is registered with the source while its events are not 0.
  GPollFD pollFds[kMaxDescriptors];
  gint32 pollFdsMax;
  gint32 runningHandles;
  fd_set readFds;
  fd_set writeFds;
  fd_set exceptFds;
  gint32 fdMax;
};

CurlSource* curlSrc = nullptr;
int s_numEasyHandles = 0;
timespec s_timeAtLastDispatch{};
/// Milliseconds.
gint s_currTimeout = 0;
int s_dispatchDepth = 0;
/// The loop has been woken since it last prepared.
bool s_isWoken = false;
CurlDescriptors s_descriptors;
/// In microseconds of the monotonic clock.
gint64 s_timeOfNetworkChange = -kDnsCacheSeconds * G_USEC_PER_SEC;

/// The standard assertion failure with a file name, line and text that stay what they are, because
/// people and scripts know the report by them.
#define CURL_SOURCE_ASSERT(line, text, condition) \
  ((condition) ? void() : __assert_fail(text, "Src/dovi/glibcurl", line, __func__))

bool IsCurlSource(const GSource* source) {
  return curlSrc != nullptr && source == &curlSrc->source;
}

bool HasMultiHandle() {
  return curlSrc != nullptr && curlSrc->multiHandle != nullptr;
}

void ClearDescriptorSets() {
  FD_ZERO(&curlSrc->readFds);
  FD_ZERO(&curlSrc->writeFds);
  FD_ZERO(&curlSrc->exceptFds);
}

gushort WantedEvents(int fd) {
  int events = 0;
  if (FD_ISSET(fd, &curlSrc->readFds)) events |= G_IO_IN | G_IO_PRI | G_IO_ERR | G_IO_HUP;
  if (FD_ISSET(fd, &curlSrc->writeFds)) events |= G_IO_OUT | G_IO_ERR | G_IO_HUP;
  if (FD_ISSET(fd, &curlSrc->exceptFds)) events |= G_IO_ERR | G_IO_HUP;
  return static_cast<gushort>(events);
}

void Register(GPollFD* entry, gushort wanted) {
  const gushort previous = entry->events;
  if (wanted == previous) return;
  entry->events = wanted;
  if (wanted == 0) {
    // A destroyed source has no poll records any more, and GLib complains about the attempt.
    if (!g_source_is_destroyed(&curlSrc->source)) g_source_remove_poll(&curlSrc->source, entry);
    entry->revents = 0;
  } else if (previous == 0) {
    g_source_add_poll(&curlSrc->source, entry);
    s_descriptors.NoteWatched(entry->fd);
  }
}

bool IsDescriptorMaximumInRange() {
  return curlSrc->fdMax >= -1 && curlSrc->fdMax < kMaxDescriptors;
}

/// Makes the poll list of the source equal to the sockets that curl wants watched.
void registerUnregisterFds() {
  ClearDescriptorSets();
  curlSrc->fdMax = -1;
  if (HasMultiHandle()) {
    curl_multi_fdset(curlSrc->multiHandle, &curlSrc->readFds, &curlSrc->writeFds,
                     &curlSrc->exceptFds, &curlSrc->fdMax);
  }
  if (!IsDescriptorMaximumInRange()) {
    DoviTrace("registerUnregisterFds: fdMax=%d\n", curlSrc->fdMax);
    CURL_SOURCE_ASSERT(477, "curlSrc->fdMax >= -1 && curlSrc->fdMax <= 1023",
                       IsDescriptorMaximumInRange());
  }
  s_descriptors.BeginToNoteWatched();
  // Up to the previous maximum, so that descriptors above the new one are removed.
  const int top = std::max(curlSrc->fdMax, curlSrc->pollFdsMax);
  for (int fd = 0; fd <= top; ++fd) Register(&curlSrc->pollFds[fd], WantedEvents(fd));
  curlSrc->pollFdsMax = curlSrc->fdMax;
}

gint ChooseTimeout() {
  if (curlSrc->runningHandles == kPerformAtOnce) return 0;
  long timeout = -1;
  curl_multi_timeout(curlSrc->multiHandle, &timeout);
  if (timeout < 0) return s_numEasyHandles < 1 ? kWaitForever : kLongestWaitMs;
  return static_cast<gint>(std::min<long>(timeout, kLongestWaitMs));
}

gboolean prepare(GSource* source, gint* timeout) {
  CURL_SOURCE_ASSERT(523, "source == &curlSrc->source", IsCurlSource(source));
  s_isWoken = false;
  if (!HasMultiHandle()) return FALSE;
  registerUnregisterFds();
  s_currTimeout = ChooseTimeout();
  *timeout = s_currTimeout;
  return s_currTimeout == 0;
}

/// Copies what poll found into the descriptor sets. False when that is nothing.
bool CollectPollResults() {
  ClearDescriptorSets();
  bool something_happened = false;
  for (int fd = 0; fd <= curlSrc->fdMax; ++fd) {
    const int revents = curlSrc->pollFds[fd].revents;
    if (revents == 0) continue;
    something_happened = true;
    if (revents & (G_IO_IN | G_IO_PRI)) FD_SET(fd, &curlSrc->readFds);
    if (revents & G_IO_OUT) FD_SET(fd, &curlSrc->writeFds);
    if (revents & (G_IO_ERR | G_IO_HUP)) FD_SET(fd, &curlSrc->exceptFds);
  }
  return something_happened;
}

long long MillisecondsSinceLastDispatch() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const long long seconds = now.tv_sec - s_timeAtLastDispatch.tv_sec;
  return (now.tv_nsec - s_timeAtLastDispatch.tv_nsec) / 1000000 + seconds * 1000;
}

gboolean check(GSource* source) {
  CURL_SOURCE_ASSERT(564, "source == &curlSrc->source", IsCurlSource(source));
  if (!HasMultiHandle() || s_numEasyHandles < 1) {
    curlSrc->runningHandles = 0;
    return FALSE;
  }
  const bool something_happened = CollectPollResults();
  if (something_happened || curlSrc->runningHandles == kPerformAtOnce) return TRUE;
  return MillisecondsSinceLastDispatch() >= s_currTimeout;
}

/// The function that is called may run the main loop, so that this is entered again from inside it.
/// Nothing that was found out before is relied on after it.
gboolean dispatch(GSource* source, GSourceFunc function, gpointer data) {
  CURL_SOURCE_ASSERT(615, "source == &curlSrc->source", IsCurlSource(source));
  CURL_SOURCE_ASSERT(616, "curlSrc->multiHandle != 0", HasMultiHandle());
  clock_gettime(CLOCK_MONOTONIC, &s_timeAtLastDispatch);
  // Only a transfer that begins can take a connection that nobody uses.
  if (curlSrc->runningHandles == kPerformAtOnce) s_descriptors.EndUnusable(curlSrc->pollFds);
  while (curl_multi_perform(curlSrc->multiHandle, &curlSrc->runningHandles) ==
         CURLM_CALL_MULTI_PERFORM) {
  }
  if (curlSrc->runningHandles == 0) registerUnregisterFds();
  if (function != nullptr) {
    ++s_dispatchDepth;
    reinterpret_cast<GlibcurlFunction>(reinterpret_cast<void (*)()>(function))(data);
    --s_dispatchDepth;
  }
  return G_SOURCE_CONTINUE;
}

void finalize(GSource* source) {
  CURL_SOURCE_ASSERT(635, "source == &curlSrc->source", IsCurlSource(source));
  registerUnregisterFds();
}

GSourceFuncs curlFuncs = {prepare, check, dispatch, finalize, nullptr, nullptr};

/// Makes a loop that waits, on whatever thread, prepare again. One that runs does so anyway.
void WakeLoop() {
  const bool is_running = g_main_depth() > 0 && g_main_context_is_owner(g_main_context_default());
  if (is_running || std::exchange(s_isWoken, true)) return;
  g_main_context_wakeup(nullptr);
}

curl_socket_t OpenConnection(void* refusal, curlsocktype, curl_sockaddr* address) {
  const curl_socket_t fd = s_descriptors.Open(*address);
  if (fd == CURL_SOCKET_BAD) {
    *static_cast<const char**>(refusal) = "no descriptor below 1024 is free";
  }
  return fd;
}

int CloseConnection(void*, curl_socket_t fd) {
  s_descriptors.Close(fd);
  return 0;
}

/// Curl writes the keys of each TLS session to the file that this variable names when it is
/// initialised, and so would let whoever sets the environment read along.
void InitialiseCurl() {
  constexpr char kKeyLog[] = "SSLKEYLOGFILE";
  const bool is_obeyed = GetDoviDeploymentSettings().obey_sslkeylogfile;
  char* const file = is_obeyed ? nullptr : g_strdup(g_getenv(kKeyLog));
  if (file != nullptr) g_unsetenv(kKeyLog);
  curl_global_init(CURL_GLOBAL_ALL);
  if (file != nullptr) g_setenv(kKeyLog, file, TRUE);
  g_free(file);
}

}  // namespace

void glibcurl_init() {
  CURL_SOURCE_ASSERT(__LINE__, "curlSrc == 0", curlSrc == nullptr);
  DoviTraceToStandardError(" in glibcurl_init");
  GSource* source = g_source_new(&curlFuncs, sizeof(CurlSource));
  curlSrc = reinterpret_cast<CurlSource*>(source);
  // GLib ends the process rather than return null, which the analyzer does not know.
  DoviTraceToStandardError(source == nullptr ? "hhh g_source_new is NULl  \n"
                                             : "hhh g_source_new is not NULl  \n");
  // A requester may run the loop until something else has ended. It also spares GLib to take the
  // descriptors out of the poll list and back around each dispatch.
  g_source_set_can_recurse(source, TRUE);
  g_source_attach(source, nullptr);
  // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage)
  for (int fd = 0; fd < kMaxDescriptors; ++fd) curlSrc->pollFds[fd] = GPollFD{fd, 0, 0};
  curlSrc->pollFdsMax = 0;
  curlSrc->runningHandles = 0;
  InitialiseCurl();
  curlSrc->multiHandle = curl_multi_init();
  curl_multi_setopt(curlSrc->multiHandle, CURLMOPT_MAX_TOTAL_CONNECTIONS,
                    long{kGlibcurlMaxConnections});
  g_source_set_priority(source, kGlibcurlPriority);
  s_timeAtLastDispatch = {};
  s_currTimeout = 0;
  s_numEasyHandles = 0;
}

CURLM* glibcurl_handle() {
  return curlSrc == nullptr ? nullptr : curlSrc->multiHandle;
}

CURLMcode glibcurl_add(CURL* easy) {
  CURL_SOURCE_ASSERT(410, "curlSrc->multiHandle != 0", HasMultiHandle());
  curlSrc->runningHandles = kPerformAtOnce;
  ++s_numEasyHandles;
  const CURLMcode result = curl_multi_add_handle(curlSrc->multiHandle, easy);
  WakeLoop();
  return result;
}

CURLMcode glibcurl_remove(CURL* easy) {
  CURL_SOURCE_ASSERT(420, "curlSrc != 0", curlSrc != nullptr);
  CURL_SOURCE_ASSERT(421, "curlSrc->multiHandle != 0", HasMultiHandle());
  CURL_SOURCE_ASSERT(422, "s_numEasyHandles > 0", s_numEasyHandles > 0);
  --s_numEasyHandles;
  const CURLMcode result = curl_multi_remove_handle(curlSrc->multiHandle, easy);
  WakeLoop();
  return result;
}

void glibcurl_manage_connections(CURL* easy, const char** refusal) {
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, &OpenConnection);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, refusal);
  curl_easy_setopt(easy, CURLOPT_CLOSESOCKETFUNCTION, &CloseConnection);
  const gint64 seconds = (g_get_monotonic_time() - s_timeOfNetworkChange) / G_USEC_PER_SEC;
  curl_easy_setopt(easy, CURLOPT_DNS_CACHE_TIMEOUT,
                   static_cast<long>(std::min(seconds, kDnsCacheSeconds)));
}

unsigned glibcurl_connection_count() {
  return static_cast<unsigned>(s_descriptors.open_count());
}

void glibcurl_network_changed() {
  s_timeOfNetworkChange = g_get_monotonic_time();
  s_descriptors.OutdateConnections();
}

bool glibcurl_may_look_up() {
  return s_descriptors.MayLookUp();
}

void glibcurl_start() {
  CURL_SOURCE_ASSERT(__LINE__, "curlSrc != 0", curlSrc != nullptr);
  curlSrc->runningHandles = kPerformAtOnce;
  WakeLoop();
}

void glibcurl_set_callback(GlibcurlFunction function, void* data) {
  CURL_SOURCE_ASSERT(__LINE__, "curlSrc != 0", curlSrc != nullptr);
  // dispatch() turns the function back into what it is.
  g_source_set_callback(&curlSrc->source,
                        reinterpret_cast<GSourceFunc>(reinterpret_cast<void (*)()>(function)), data,
                        nullptr);
}

void glibcurl_cleanup() {
  CURL_SOURCE_ASSERT(__LINE__, "curlSrc != 0", curlSrc != nullptr);
  CURL_SOURCE_ASSERT(__LINE__, "s_dispatchDepth == 0", s_dispatchDepth == 0);
  CURL_SOURCE_ASSERT(__LINE__, "s_numEasyHandles == 0", s_numEasyHandles == 0);
  curl_multi_cleanup(curlSrc->multiHandle);
  curlSrc->multiHandle = nullptr;
  curl_global_cleanup();
  g_source_destroy(&curlSrc->source);
  g_source_unref(&curlSrc->source);
  curlSrc = nullptr;
}

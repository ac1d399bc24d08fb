#include "bench/peers/hand_driver.h"

#include <algorithm>
#include <utility>

namespace {

GIOCondition ConditionOf(int what) {
  int condition = 0;
  if ((what & CURL_POLL_IN) != 0) condition |= G_IO_IN;
  if ((what & CURL_POLL_OUT) != 0) condition |= G_IO_OUT;
  return static_cast<GIOCondition>(condition);
}

int EventsOf(GIOCondition condition) {
  int events = 0;
  if ((condition & G_IO_IN) != 0) events |= CURL_CSELECT_IN;
  if ((condition & G_IO_OUT) != 0) events |= CURL_CSELECT_OUT;
  if ((condition & (G_IO_ERR | G_IO_HUP)) != 0) events |= CURL_CSELECT_ERR;
  return events;
}

}  // namespace

HandDriver::HandDriver(long max_connections, OnDone on_done)
    : on_done_(std::move(on_done)), multi_(curl_multi_init()) {
  // GLib waits for the ready time and the descriptors, and needs nothing else.
  static GSourceFuncs functions = {nullptr, nullptr, &Dispatch, nullptr, nullptr, nullptr};
  source_ = g_source_new(&functions, sizeof(Source));
  reinterpret_cast<Source*>(source_)->driver = this;
  g_source_attach(source_, nullptr);
  curl_multi_setopt(multi_, CURLMOPT_MAX_TOTAL_CONNECTIONS, max_connections);
  curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &OnSocket);
  curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &OnTimer);
  curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
}

HandDriver::~HandDriver() {
  curl_multi_cleanup(multi_);
  g_source_destroy(source_);
  g_source_unref(source_);
}

int HandDriver::OnSocket(CURL*, curl_socket_t descriptor, int what, void* self, void* socket_data) {
  auto* driver = static_cast<HandDriver*>(self);
  auto* socket = static_cast<Socket*>(socket_data);
  if (what == CURL_POLL_REMOVE) {
    if (socket == nullptr) return 0;
    g_source_remove_unix_fd(driver->source_, socket->tag);
    std::erase(driver->sockets_, socket);
    delete socket;
  } else if (socket != nullptr) {
    g_source_modify_unix_fd(driver->source_, socket->tag, ConditionOf(what));
  } else {
    gpointer tag = g_source_add_unix_fd(driver->source_, descriptor, ConditionOf(what));
    driver->sockets_.push_back(new Socket{descriptor, tag});
    curl_multi_assign(driver->multi_, descriptor, driver->sockets_.back());
  }
  return 0;
}

int HandDriver::OnTimer(CURLM*, long timeout_ms, void* self) {
  GSource* source = static_cast<HandDriver*>(self)->source_;
  g_source_set_ready_time(
      source, timeout_ms < 0 ? -1 : g_get_monotonic_time() + timeout_ms * G_TIME_SPAN_MILLISECOND);
  return 0;
}

gboolean HandDriver::Dispatch(GSource* source, GSourceFunc, gpointer) {
  HandDriver* driver = reinterpret_cast<Source*>(source)->driver;
  driver->PerformReady();
  driver->CollectDone();
  return G_SOURCE_CONTINUE;
}

void HandDriver::PerformReady() {
  ready_.clear();
  for (const Socket* socket : sockets_) {
    const int events = EventsOf(g_source_query_unix_fd(source_, socket->tag));
    if (events != 0) ready_.emplace_back(socket->descriptor, events);
  }
  int running = 0;
  for (const auto& [descriptor, events] : ready_) {
    curl_multi_socket_action(multi_, descriptor, events, &running);
  }
  const gint64 ready_time = g_source_get_ready_time(source_);
  if (ready_time < 0 || ready_time > g_source_get_time(source_)) return;
  g_source_set_ready_time(source_, -1);
  curl_multi_socket_action(multi_, CURL_SOCKET_TIMEOUT, 0, &running);
}

void HandDriver::CollectDone() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* easy = message->easy_handle;
    const CURLcode result = message->data.result;
    curl_multi_remove_handle(multi_, easy);
    on_done_(easy, result);
  }
}

#ifndef KESU_BENCH_PEERS_HAND_DRIVER_H_
#define KESU_BENCH_PEERS_HAND_DRIVER_H_

#include <functional>
#include <vector>

#include <curl/curl.h>
#include <glib.h>

/// Libcurl on GLib's default main context by hand: one source, one record per socket, and curl told
/// of the sockets that something happened on.
class HandDriver {
 public:
  /// What is called with each transfer that has ended, which has been removed by then.
  using OnDone = std::function<void(CURL* easy, CURLcode result)>;

  HandDriver(long max_connections, OnDone on_done);
  HandDriver(const HandDriver&) = delete;
  HandDriver& operator=(const HandDriver&) = delete;
  /// The transfers have ended or been removed.
  ~HandDriver();

  void Add(CURL* easy) { curl_multi_add_handle(multi_, easy); }

 private:
  struct Source {
    GSource base;
    HandDriver* driver;
  };
  struct Socket {
    curl_socket_t descriptor;
    gpointer tag;
  };

  static int OnSocket(CURL* easy, curl_socket_t descriptor, int what, void* self,
                      void* socket_data);
  static int OnTimer(CURLM* multi, long timeout_ms, void* self);
  static gboolean Dispatch(GSource* source, GSourceFunc, gpointer);

  void PerformReady();
  void CollectDone();

  OnDone on_done_;
  CURLM* multi_;
  GSource* source_;
  std::vector<Socket*> sockets_;
  /// Their sockets as they were before curl was called, which may change the list.
  std::vector<std::pair<curl_socket_t, int>> ready_;
};

#endif  // KESU_BENCH_PEERS_HAND_DRIVER_H_

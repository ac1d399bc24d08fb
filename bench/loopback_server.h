#ifndef KESU_BENCH_LOOPBACK_SERVER_H_
#define KESU_BENCH_LOOPBACK_SERVER_H_

#include <cstdlib>
#include <string>

#include <gio/gio.h>
#include <sys/resource.h>

/// kesu-server on a port of its own, for as long as this object lives.
class LoopbackServer {
 public:
  explicit LoopbackServer(const char* path)
      : process_(g_subprocess_new(G_SUBPROCESS_FLAGS_STDOUT_PIPE, nullptr, path, "--port", "0",
                                  nullptr)) {
    if (process_ == nullptr) std::abort();
    constexpr char kListeningOn[] = "listening on ";
    GDataInputStream* lines = g_data_input_stream_new(g_subprocess_get_stdout_pipe(process_));
    char* line = g_data_input_stream_read_line(lines, nullptr, nullptr, nullptr);
    if (line == nullptr || !g_str_has_prefix(line, kListeningOn)) std::abort();
    url_ = line + sizeof kListeningOn - 1;
    g_free(line);
    g_object_unref(lines);
  }
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;
  ~LoopbackServer() {
    g_subprocess_force_exit(process_);
    g_subprocess_wait(process_, nullptr, nullptr);
    g_object_unref(process_);
  }

  const std::string& url() const { return url_; }

 private:
  GSubprocess* process_;
  std::string url_;
};

/// What this program has used so far.
inline double CpuSeconds() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

#endif  // KESU_BENCH_LOOPBACK_SERVER_H_

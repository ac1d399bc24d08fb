#ifndef KESU_BENCH_PEERS_SERVER_H_
#define KESU_BENCH_PEERS_SERVER_H_

#include <string>

#include <sys/types.h>

/// The path whose POSTs are answered one by one; those of any other path hold many requests.
constexpr char kSinglePath[] = "/single";

/// A server in a process of its own, for as long as this lives: what it costs is no client's.
class ServerProcess {
 public:
  ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;
  ~ServerProcess();

  /// "http://127.0.0.1:PORT"
  const std::string& host() const { return host_; }

 private:
  pid_t pid_ = -1;
  std::string host_;
};

/// The server itself: writes its port to standard output, and serves until its parent ends.
[[noreturn]] void Serve();
/// The option with which this program runs Serve().
constexpr char kServeOption[] = "--serve";

#endif  // KESU_BENCH_PEERS_SERVER_H_

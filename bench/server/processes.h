#ifndef SERVER_BENCH_PROCESSES_H_
#define SERVER_BENCH_PROCESSES_H_

#include <string>
#include <vector>

#include <sys/types.h>

namespace kesu_server_bench {

/// A server in a process of its own, which ends with this object.
class ServerProcess {
 public:
  /// Starts it and waits for its first line, at the end of which its port stands.
  explicit ServerProcess(const std::vector<std::string>& command);
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  int port() const { return port_; }
  /// Of those that serve: its children, or itself when it has none.
  std::vector<pid_t> Workers() const;
  /// The processor time that its workers have used, user and system.
  double CpuSeconds() const;

 private:
  pid_t pid_ = -1;
  int port_ = 0;
};

/// What starts kesu-server with so many workers.
std::vector<std::string> ServerCommand(const std::string& database, int workers,
                                       const std::vector<std::string>& options = {});

/// The memory of a process that is in no file, in bytes.
double AnonymousBytes(pid_t pid);

/// Runs a command of the shell, which must succeed. Yields its processor time.
double RunCommand(const std::string& command);

/// The processor time of this thread.
double OwnCpuSeconds();

}  // namespace kesu_server_bench

#endif  // SERVER_BENCH_PROCESSES_H_

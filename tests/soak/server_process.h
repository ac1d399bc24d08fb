#ifndef TESTS_SOAK_SERVER_PROCESS_H_
#define TESTS_SOAK_SERVER_PROCESS_H_

#include <csignal>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include <glib.h>
#include <sys/prctl.h>
#include <sys/wait.h>

/// A kesu-server on a port of its own. It ends with this program, however that ends.
class ServerProcess {
 public:
  explicit ServerProcess(const char* program) : program_(program) {}
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;
  ~ServerProcess() { Kill(); }

  /// Starts it on the port that it had before, if it had one and that is free.
  bool Start(const std::vector<std::string>& faults) {
    return Launch(faults) || (std::exchange(port_, "0") != "0" && Launch(faults));
  }
  void Kill() { End(SIGKILL); }
  /// Whether it ended as it should when asked to.
  bool Stop() { return End(SIGTERM) == 0; }
  bool is_running() const { return output_ != nullptr; }
  const std::string& url() const { return url_; }

 private:
  bool Launch(const std::vector<std::string>& faults) {
    std::vector<std::string> words = {program_, "--port", port_};
    for (const std::string& fault : faults) words.push_back("--fault=" + fault);
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const auto end_with_parent = [](void*) { prctl(PR_SET_PDEATHSIG, SIGKILL); };
    int output = -1;
    if (g_spawn_async_with_pipes(nullptr, arguments.data(), nullptr, G_SPAWN_DO_NOT_REAP_CHILD,
                                 end_with_parent, nullptr, &pid_, nullptr, &output, nullptr,
                                 nullptr) == FALSE) {
      return false;
    }
    output_ = fdopen(output, "r");
    char url[100] = "";
    if (std::fscanf(output_, "listening on %99s", url) != 1) {
      Kill();
      return false;
    }
    url_ = url;
    port_ = url_.substr(url_.rfind(':') + 1);
    return true;
  }

  /// What waitpid() says about it, 0 for exit status 0.
  int End(int signal) {
    int status = 0;
    if (!is_running()) return status;
    kill(pid_, signal);
    waitpid(pid_, &status, 0);
    std::fclose(std::exchange(output_, nullptr));
    return status;
  }

  std::string program_;
  std::string port_ = "0";
  std::string url_;
  GPid pid_ = 0;
  /// Open while it runs, so that it can print.
  std::FILE* output_ = nullptr;
};

#endif  // TESTS_SOAK_SERVER_PROCESS_H_

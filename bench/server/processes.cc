#include "processes.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "report.h"

namespace kesu_server_bench {
namespace {

std::string ReadLine(int descriptor) {
  std::string line;
  char byte = 0;
  while (read(descriptor, &byte, 1) == 1 && byte != '\n') line += byte;
  return line;
}

/// 0 where the text does not begin with one.
int NumberIn(const char* text) {
  return static_cast<int>(std::strtol(text, nullptr, 10));
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double ChildSeconds() {
  rusage usage = {};
  getrusage(RUSAGE_CHILDREN, &usage);
  return Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
}

pid_t ParentOf(const std::string& process) {
  std::ifstream stat(process + "/stat");
  std::string text;
  std::getline(stat, text);
  // Behind the name, in which anything may stand.
  std::istringstream fields(text.substr(text.rfind(')') + 1));
  std::string state;
  pid_t parent = 0;
  fields >> state >> parent;
  return parent;
}

}  // namespace

ServerProcess::ServerProcess(const std::vector<std::string>& command) {
  int pipe_ends[2];
  if (pipe2(pipe_ends, O_CLOEXEC) != 0) Fail("no pipe");
  std::vector<char*> words;
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  pid_ = fork();
  if (pid_ == 0) {
    dup2(pipe_ends[1], STDOUT_FILENO);
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nothing, STDERR_FILENO);
    execv(words[0], words.data());
    _exit(EXIT_FAILURE);
  }
  close(pipe_ends[1]);
  const std::string line = ReadLine(pipe_ends[0]);
  const std::size_t colon = line.rfind(':');
  port_ = colon == std::string::npos ? 0 : NumberIn(line.c_str() + colon + 1);
  if (port_ == 0) Fail(command[0] + " does not start: " + line);
}

ServerProcess::~ServerProcess() {
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

std::vector<pid_t> ServerProcess::Workers() const {
  std::vector<pid_t> workers;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const int pid = NumberIn(entry.path().filename().c_str());
    if (pid > 0 && ParentOf(entry.path()) == pid_) workers.push_back(pid);
  }
  if (workers.empty()) workers.push_back(pid_);
  return workers;
}

double ServerProcess::CpuSeconds() const {
  double nanoseconds = 0;
  for (const pid_t worker : Workers()) {
    double of_worker = 0;
    std::ifstream("/proc/" + std::to_string(worker) + "/schedstat") >> of_worker;
    nanoseconds += of_worker;
  }
  return nanoseconds / 1e9;
}

std::vector<std::string> ServerCommand(const std::string& database, int workers,
                                       const std::vector<std::string>& options) {
  std::vector<std::string> command = {KESU_SERVER_PATH,
                                      "--port",
                                      "0",
                                      "--database",
                                      database,
                                      "--workers",
                                      std::to_string(workers),
                                      "--max-connections-per-address",
                                      "0"};
  command.insert(command.end(), options.begin(), options.end());
  return command;
}

double AnonymousBytes(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string name; status >> name;) {
    double kilobytes = 0;
    if (name == "RssAnon:" && status >> kilobytes) return kilobytes * 1024;
  }
  Fail("no memory of a worker to be seen");
}

double RunCommand(const std::string& command) {
  const double before = ChildSeconds();
  if (std::system(command.c_str()) != 0) Fail("failed: " + command);
  return ChildSeconds() - before;
}

double OwnCpuSeconds() {
  timespec time = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace kesu_server_bench

#include "bench/peers/instructions.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

// Machines that never count do without valgrind.
#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define RUNNING_ON_VALGRIND 0
#define CALLGRIND_START_INSTRUMENTATION static_cast<void>(0)
#define CALLGRIND_ZERO_STATS static_cast<void>(0)
#define CALLGRIND_DUMP_STATS static_cast<void>(0)
#define CALLGRIND_STOP_INSTRUMENTATION static_cast<void>(0)
#endif

#include "bench/peers/self.h"

namespace {

/// Names the folder for callgrind's counts, for the program that runs under it.
constexpr char kFolderVariable[] = "KESU_CALLGRIND_FOLDER";

constexpr char kValgrind[] = "valgrind";
constexpr char kToolOption[] = "--tool=callgrind";
constexpr char kOutFileOption[] = "--callgrind-out-file=";

/// Null outside of callgrind.
const char* Folder() {
  return std::getenv(kFolderVariable);
}

std::string CountsPath(const char* folder) {
  return std::string(folder == nullptr ? "" : folder) + "/counts";
}

/// The total of the dump that callgrind has just written.
double ReadTotal(const std::string& path) {
  std::ifstream dump(path);
  for (std::string word; dump >> word;) {
    if (word != "totals:" && word != "summary:") continue;
    double total = 0;
    dump >> total;
    return total;
  }
  std::fprintf(stderr, "no count in %s\n", path.c_str());
  std::exit(EXIT_FAILURE);
}

}  // namespace

bool CanCountInstructions() {
  return RUNNING_ON_VALGRIND != 0 && Folder() != nullptr;
}

double CountInstructions(const std::function<void()>& work) {
  static int dumps = 0;
  CALLGRIND_START_INSTRUMENTATION;
  CALLGRIND_ZERO_STATS;
  work();
  CALLGRIND_DUMP_STATS;
  CALLGRIND_STOP_INSTRUMENTATION;
  const std::string path = CountsPath(Folder()) + "." + std::to_string(++dumps);
  const double total = ReadTotal(path);
  std::remove(path.c_str());
  return total;
}

double CountInstructionsOfProgram(const std::string& program) {
  const std::string path = CountsPath(Folder()) + ".program";
  const std::string out_file = kOutFileOption + path;
  const pid_t child = fork();
  if (child == 0) {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::_Exit(EXIT_FAILURE);
    execlp(kValgrind, kValgrind, "-q", kToolOption, out_file.c_str(), program.c_str(), nullptr);
    std::_Exit(EXIT_FAILURE);
  }
  int status = 0;
  waitpid(child, &status, 0);
  const double total = ReadTotal(path);
  std::remove(path.c_str());
  return total;
}

void RunUnderCallgrind(char** argv) {
  char folder[] = "/tmp/kesu-peers-XXXXXX";
  if (mkdtemp(folder) == nullptr) return;
  setenv(kFolderVariable, folder, 1);
  const std::string out_file = kOutFileOption + CountsPath(folder);
  const std::string self = SelfPath();
  std::vector<const char*> arguments = {
      kValgrind, "-q", kToolOption, "--instr-atstart=no", out_file.c_str(), self.c_str()};
  for (char** argument = argv + 1; *argument != nullptr; ++argument) {
    arguments.push_back(*argument);
  }
  arguments.push_back(nullptr);
  execvp(kValgrind, const_cast<char* const*>(arguments.data()));
}

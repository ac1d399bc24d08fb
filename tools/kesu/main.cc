#include <cstdio>
#include <string>

#include <unistd.h>

#include "tools/kesu/arguments.h"
#include "tools/kesu/decode_command.h"
#include "tools/kesu/exit_status.h"
#include "tools/kesu/http_test_command.h"
#include "tools/kesu/locate_command.h"
#include "tools/kesu/map_file.h"
#include "tools/kesu/option_words.h"
#include "tools/kesu/printing.h"
#include "tools/kesu/replay_command.h"
#include "tools/kesu/reverse_command.h"
#include "tools/support/standard_files.h"
#ifdef KESU_HAS_HERE
#include "tools/kesu/locate_here_command.h"
#include "tools/kesu/track_command.h"
#endif

namespace kesu_tool {
namespace {

/// Two main loops, that of the signals being GLib's own, libcurl, and a connection.
constexpr int kFilesOfALookup = 5;

int Print(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  return FlushResults() ? 0 : kFailureExitStatus;
}

int RunHere(const Arguments& arguments) {
#ifdef KESU_HAS_HERE
  return arguments.command == Command::kTrack ? RunTrack(arguments) : RunLocateHere(arguments);
#else
  static_cast<void>(arguments);
  return FailUsage("this kesu was built without libkesu-here, which listens");
#endif
}

int RunOverNetwork(const Arguments& arguments) {
  if (!arguments.ca_file.empty() && access(arguments.ca_file.c_str(), R_OK) != 0) {
    return FailUsage("the CA file \"" + arguments.ca_file + "\" cannot be read");
  }
  std::string error;
  if (!arguments.map_file.empty() && !CanWriteMap(arguments.map_file, &error)) {
    return FailUsage(error);
  }
  if (!CanOpenFiles(kFilesOfALookup)) {
    PrintError("too few files can be open at a time");
    return kFailureExitStatus;
  }
  if (arguments.hears) return RunHere(arguments);
  switch (arguments.command) {
    case Command::kLocate:
      return RunLocate(arguments);
    case Command::kReverse:
      return RunReverse(arguments);
    case Command::kReplay:
      return RunReplay(arguments);
    default:
      return RunHttpTest(arguments);
  }
}

int Main(int argc, char** argv) {
  Arguments arguments;
  std::string error;
  if (!ParseArguments({argv + 1, argv + argc}, &arguments, &error)) return FailUsage(error);
  switch (arguments.command) {
    case Command::kHelp:
      return Print(HelpText());
    case Command::kVersion:
      return Print("kesu " KESU_VERSION "\n");
    case Command::kDecode:
      return RunDecode(arguments);
    default:
      return RunOverNetwork(arguments);
  }
}

}  // namespace
}  // namespace kesu_tool

int main(int argc, char** argv) {
  OpenStandardFiles();
  return kesu_tool::Main(argc, argv);
}

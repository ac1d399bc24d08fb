#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include <unistd.h>

#include "dovi/deployment_settings.h"
#include "kesu/common/base/logging.h"
#include "kesu/common/base/scoped_ptr.h"

#include "tools/kesu/arguments.h"
#include "tools/kesu/decode_command.h"
#include "tools/kesu/http_test_run.h"
#include "tools/kesu/lookup_runner.h"
#include "tools/kesu/option_words.h"
#include "tools/kesu/output.h"
#include "tools/kesu/printing.h"
#include "tools/kesu/result.h"
#include "tools/kesu/session.h"
#include "tools/support/standard_files.h"

namespace kesu_tool {
namespace {

/// What a shell reports of a process that a signal ended.
constexpr int kSignalExitStatus = 128;

/// Two main loops, that of the signals being GLib's own, libcurl, and a connection.
constexpr int kFilesOfALookup = 5;

int FailUsage(const std::string& error) {
  PrintError(error);
  std::fprintf(stderr, "Try \"kesu --help\".\n");
  return kUsageExitStatus;
}

int Print(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  return FlushResults() ? 0 : kFailureExitStatus;
}

/// A piece of the transport's trace, with its newlines.
void PrintTrace(const char* text, void*) {
  std::fputs(text, stderr);
}

bool ApplySettings(const Arguments& arguments, std::string* error) {
  if (!arguments.ca_file.empty() && access(arguments.ca_file.c_str(), R_OK) != 0) {
    *error = "the CA file \"" + arguments.ca_file + "\" cannot be read";
    return false;
  }
  DoviDeploymentSettings settings;
  settings.host = arguments.server.c_str();
  settings.ca_file = arguments.ca_file.c_str();
  // The self-test has a clock of its own, and ends differently when that runs out.
  settings.total_timeout_ms = arguments.command == Command::kHttpTest ? 0 : arguments.timeout_ms;
  settings.trace = arguments.wants_trace ? DoviTraceTarget::kCallback : DoviTraceTarget::kNowhere;
  settings.trace_callback = PrintTrace;
  if (SetDoviDeploymentSettings(settings)) return true;
  *error = "the name of the server is too long";
  return false;
}

void PrintLogLine(const common_base::GString& line, void*) {
  common_base::ByteVector utf8;
  line->ToUtf8Vector(&utf8);
  std::fprintf(stderr, "%.*s\n", utf8.length(), reinterpret_cast<const char*>(utf8.data()));
}

/// The results of all lookups, in order. Everything of the library is gone when this returns.
/// `*signal` is what ended the run early, or 0.
std::vector<Result> LookUp(const Arguments& arguments, int* signal) {
  Session session;
  LookupRunner runner;
  const auto lookups = NewLookups(arguments, session.clock());
  *signal = runner.Run(lookups, arguments.timeout_ms);
  std::vector<Result> results;
  for (const auto& lookup : lookups) results.push_back(lookup->result());
  return results;
}

void PrintLine(const std::string& line) {
  std::fwrite((line + "\n").data(), 1, line.size() + 1, stdout);
}

/// JSON tells failures too; the other form leaves them to standard error.
void PrintResults(const Arguments& arguments, std::span<const Result> results) {
  for (std::size_t i = 0; i < results.size(); ++i) {
    const Result& result = results[i];
    if (arguments.wants_json) {
      PrintLine(FormatJson(arguments.command, result));
      continue;
    }
    const bool is_numbered = arguments.command == Command::kLocate && results.size() > 1;
    const std::string number = is_numbered ? "lookup " + std::to_string(i + 1) + ": " : "";
    const std::string line = number + FormatText(arguments.command, result);
    if (IsFailure(result.outcome)) {
      PrintError(line);
    } else {
      PrintLine(line);
    }
  }
}

int RunLookups(const Arguments& arguments) {
  int signal = 0;
  const std::vector<Result> results = LookUp(arguments, &signal);
  if (signal != 0) {
    // Ends as any process does that gets the signal, so that a script's loop ends too.
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    return kSignalExitStatus + signal;
  }
  PrintResults(arguments, results);
  return FlushResults() ? ExitStatus(results) : kFailureExitStatus;
}

int RunHttpTest(const Arguments& arguments) {
  DoviHttpRequestFactory factory;
  const Result result = HttpTestRun().Run(&factory, arguments.timeout_ms, stdout);
  if (result.outcome == Outcome::kTimedOut || !result.reason.empty()) {
    PrintError(FormatFailure(result));
  }
  return FlushResults() ? ExitStatus({&result, 1}) : kFailureExitStatus;
}

int Run(const Arguments& arguments) {
  if (arguments.command == Command::kDecode) return RunDecode(arguments);
  if (!CanOpenFiles(kFilesOfALookup)) {
    PrintError("too few files can be open at a time");
    return kFailureExitStatus;
  }
  if (arguments.wants_trace) {
    common_base::SetLogLevel(common_base::kLogDebug);
    common_base::SetLogCallback(PrintLogLine, nullptr);
  }
  if (arguments.command == Command::kHttpTest) return RunHttpTest(arguments);
  return RunLookups(arguments);
}

int Main(int argc, char** argv) {
  Arguments arguments;
  std::string error;
  if (!ParseArguments({argv + 1, argv + argc}, &arguments, &error)) return FailUsage(error);
  if (arguments.command == Command::kHelp) return Print(HelpText());
  if (arguments.command == Command::kVersion) return Print("kesu " KESU_VERSION "\n");
  if (!ApplySettings(arguments, &error)) return FailUsage(error);
  return Run(arguments);
}

}  // namespace
}  // namespace kesu_tool

int main(int argc, char** argv) {
  OpenStandardFiles();
  return kesu_tool::Main(argc, argv);
}

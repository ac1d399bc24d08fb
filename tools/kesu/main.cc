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
#include "tools/kesu/print_error.h"
#include "tools/kesu/result.h"
#include "tools/kesu/result_stream.h"
#include "tools/kesu/session.h"

namespace kesu_tool {
namespace {

/// What a shell reports of a process that a signal ended.
constexpr int kSignalExitStatus = 128;

int FailUsage(const std::string& error) {
  PrintError(error);
  std::fprintf(stderr, "Try \"kesu --help\".\n");
  return kUsageExitStatus;
}

int Print(const std::string& text) {
  const bool ok = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
  return ok ? 0 : kFailureExitStatus;
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
  Session session(arguments.wants_trace);
  LookupRunner runner;
  const auto lookups = NewLookups(arguments, session.clock());
  *signal = runner.Run(lookups, arguments.timeout_ms);
  std::vector<Result> results;
  for (const auto& lookup : lookups) results.push_back(lookup->result());
  return results;
}

/// JSON tells failures too; the other form leaves them to standard error.
void WriteResults(const Arguments& arguments, std::span<const Result> results,
                  ResultStream* stream) {
  for (std::size_t i = 0; i < results.size(); ++i) {
    const Result& result = results[i];
    if (arguments.wants_json) {
      stream->WriteLine(FormatJson(arguments.command, result));
      continue;
    }
    const bool is_numbered = arguments.command == Command::kLocate && results.size() > 1;
    const std::string number = is_numbered ? "lookup " + std::to_string(i + 1) + ": " : "";
    const std::string line = number + FormatText(arguments.command, result);
    if (IsFailure(result.outcome)) {
      PrintError(line);
    } else {
      stream->WriteLine(line);
    }
  }
}

/// The exit status, once the results are written.
int Finish(std::span<const Result> results, ResultStream* stream) {
  if (stream->Flush()) return ExitStatus(results);
  PrintError("the results could not be written");
  return kFailureExitStatus;
}

int RunLookups(const Arguments& arguments) {
  ResultStream stream(arguments.wants_trace);
  int signal = 0;
  const std::vector<Result> results = LookUp(arguments, &signal);
  if (signal != 0) {
    // Ends as any process does that gets the signal, so that a script's loop ends too.
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    return kSignalExitStatus + signal;
  }
  WriteResults(arguments, results, &stream);
  return Finish(results, &stream);
}

/// Runs the self-test, and yields what it printed.
std::string TestHttp(const Arguments& arguments, Result* result) {
  char* text = nullptr;
  std::size_t length = 0;
  std::FILE* const out = open_memstream(&text, &length);
  {
    const common_base::ScopedPtr<DoviHttpRequestFactory> factory(
        NewTransport(arguments.wants_trace));
    HttpTestRun run;
    result->outcome = run.Run(factory.get(), arguments.timeout_ms, out);
  }
  std::fclose(out);
  std::string printed(text, length);
  std::free(text);
  return printed;
}

int RunHttpTest(const Arguments& arguments) {
  ResultStream stream(arguments.wants_trace);
  Result result;
  stream.Write(TestHttp(arguments, &result));
  if (result.outcome == Outcome::kTimedOut) PrintError(DescribeFailure(result));
  return Finish({&result, 1}, &stream);
}

int Run(const Arguments& arguments) {
  if (arguments.command == Command::kDecode) return RunDecode(arguments);
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
  return kesu_tool::Main(argc, argv);
}

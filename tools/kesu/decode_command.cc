#include "tools/kesu/decode_command.h"

#include <cstdio>
#include <string>

#include "tools/kesu/decode_input.h"
#include "tools/kesu/exit_status.h"
#include "tools/kesu/input_file.h"
#include "tools/kesu/printing.h"
#include "tools/kesu/tree_writers.h"

namespace kesu_tool {
namespace {

/// Bytes; those behind are left to what is shown.
constexpr std::size_t kMostComplaints = std::size_t{1} << 16;

}  // namespace

int RunDecode(const Arguments& arguments) {
  const InputFile input(arguments.file);
  std::string error;
  std::FILE* const file = input.get(&error);
  std::string complaints;
  const auto on_fault = [&](const std::string& where, const kesu_decode::Fault& fault) {
    if (complaints.size() > kMostComplaints) return;
    complaints += "kesu: " + input.name() + (where.empty() ? "" : ", " + where) + ", offset " +
                  std::to_string(fault.offset) + ": " + fault.reason + "\n";
  };
  const auto writer = NewTreeWriter(arguments.format, stdout);
  const DecodeOutcome outcome = file == nullptr ? DecodeOutcome::kUnreadable
                                                : DecodeInput(file, writer.get(), on_fault, &error);
  if (outcome == DecodeOutcome::kUnreadable) {
    PrintError(input.name() + " " + error);
    return kUsageExitStatus;
  }
  if (!FlushResults()) return kFailureExitStatus;
  std::fputs(complaints.c_str(), stderr);
  if (!complaints.empty()) return kMalformedExitStatus;
  if (outcome == DecodeOutcome::kShown) return kFoundExitStatus;
  PrintError(input.name() + " has no HTTP message");
  return kNothingFoundExitStatus;
}

}  // namespace kesu_tool

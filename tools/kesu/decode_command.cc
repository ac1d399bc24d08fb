#include "tools/kesu/decode_command.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "tools/kesu/decode_input.h"
#include "tools/kesu/exit_status.h"
#include "tools/kesu/json_tree_writer.h"
#include "tools/kesu/printing.h"
#include "tools/kesu/text_tree_writer.h"

namespace kesu_tool {
namespace {

using kesu_decode::Fault;
using kesu_decode::TreeWriter;

/// Bytes; those behind are left to what is shown.
constexpr std::size_t kMostComplaints = std::size_t{1} << 16;

std::unique_ptr<TreeWriter> NewTreeWriter(Format format) {
  if (format == Format::kJson) return std::make_unique<JsonTreeWriter>(stdout);
  return std::make_unique<TextTreeWriter>(stdout);
}

int Decode(const Arguments& arguments, const std::string& name, std::FILE* file) {
  std::string error;
  std::string complaints;
  const auto on_fault = [&](const std::string& where, const Fault& fault) {
    if (complaints.size() > kMostComplaints) return;
    complaints += "kesu: " + name + (where.empty() ? "" : ", " + where) + ", offset " +
                  std::to_string(fault.offset) + ": " + fault.reason + "\n";
  };
  const auto writer = NewTreeWriter(arguments.format);
  const DecodeOutcome outcome = DecodeInput(file, writer.get(), on_fault, &error);
  if (outcome == DecodeOutcome::kUnreadable) {
    PrintError(name + " " + error);
    return kUsageExitStatus;
  }
  if (!FlushResults()) return kFailureExitStatus;
  std::fputs(complaints.c_str(), stderr);
  if (!complaints.empty()) return kMalformedExitStatus;
  if (outcome == DecodeOutcome::kShown) return kFoundExitStatus;
  PrintError(name + " has no HTTP message");
  return kNothingFoundExitStatus;
}

}  // namespace

int RunDecode(const Arguments& arguments) {
  if (arguments.file == "-") return Decode(arguments, "standard input", stdin);
  const std::string name = "\"" + arguments.file + "\"";
  std::FILE* const file = std::fopen(arguments.file.c_str(), "rb");
  if (file == nullptr) {
    PrintError(name + " cannot be read: " + std::strerror(errno));
    return kUsageExitStatus;
  }
  const int exit_status = Decode(arguments, name, file);
  std::fclose(file);
  return exit_status;
}

}  // namespace kesu_tool

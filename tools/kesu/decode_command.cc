#include "tools/kesu/decode_command.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/kesu/body_decoder.h"
#include "tools/kesu/exit_status.h"
#include "tools/kesu/json_tree_writer.h"
#include "tools/kesu/printing.h"
#include "tools/kesu/text_tree_writer.h"

namespace kesu_tool {
namespace {

constexpr std::size_t kLargestBody = std::size_t{1} << 28;
constexpr std::size_t kBytesPerRead = std::size_t{1} << 16;

/// The end of `file`, or of the room for it. False when reading fails.
bool ReadAll(std::FILE* file, std::vector<unsigned char>* bytes) {
  std::size_t length = 0;
  do {
    bytes->resize(length + kBytesPerRead);
    const std::size_t count = std::fread(bytes->data() + length, 1, kBytesPerRead, file);
    length += count;
    bytes->resize(length);
    if (count == 0) return std::ferror(file) == 0;
  } while (length <= kLargestBody);
  return true;
}

/// False, with the reason in `error`, when there is no such body.
bool ReadBody(const std::string& name, std::vector<unsigned char>* body, std::string* error) {
  const bool is_standard_input = name == "-";
  std::FILE* const file = is_standard_input ? stdin : std::fopen(name.c_str(), "rb");
  const bool ok = file != nullptr && ReadAll(file, body);
  if (!ok) *error = "cannot be read: " + std::string(std::strerror(errno));
  if (file != nullptr && !is_standard_input) std::fclose(file);
  if (!ok || body->size() <= kLargestBody) return ok;
  *error = "has more than " + std::to_string(kLargestBody) + " bytes";
  return false;
}

std::unique_ptr<TreeWriter> NewTreeWriter(bool wants_json) {
  if (wants_json) return std::make_unique<JsonTreeWriter>(stdout);
  return std::make_unique<TextTreeWriter>(stdout);
}

}  // namespace

int RunDecode(const Arguments& arguments) {
  const std::string name = arguments.file == "-" ? "standard input" : "\"" + arguments.file + "\"";
  std::vector<unsigned char> body;
  std::string error;
  if (!ReadBody(arguments.file, &body, &error)) {
    PrintError(name + " " + error);
    return kUsageExitStatus;
  }
  const auto writer = NewTreeWriter(arguments.format == Format::kJson);
  const std::optional<Fault> fault = BodyDecoder(writer.get())
                                         .Decode({common_base::kReferenceExistingBuffer,
                                                  body.data(), static_cast<int>(body.size())});
  if (!FlushResults()) return kFailureExitStatus;
  if (!fault) return 0;
  PrintError(name + ", offset " + std::to_string(fault->offset) + ": " + fault->reason);
  return kMalformedExitStatus;
}

}  // namespace kesu_tool

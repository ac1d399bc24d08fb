#include "tools/kesu/input_file.h"

#include <cerrno>
#include <cstring>

namespace kesu_tool {
namespace {

constexpr std::size_t kBytesPerRead = std::size_t{1} << 16;

void Explain(int failure, std::string* error) {
  *error = std::string("cannot be read: ") + std::strerror(failure);
}

}  // namespace

InputFile::InputFile(const std::string& path)
    : name_(path == "-" ? "standard input" : "\"" + path + "\""),
      file_(path == "-" ? stdin : std::fopen(path.c_str(), "rb")) {
  if (file_ == nullptr) errno_ = errno;
}

InputFile::~InputFile() {
  if (file_ != nullptr && file_ != stdin) std::fclose(file_);
}

std::FILE* InputFile::get(std::string* error) const {
  if (file_ == nullptr) Explain(errno_, error);
  return file_;
}

bool InputFile::ReadAll(std::size_t most_bytes, std::string* bytes, std::string* error) const {
  if (get(error) == nullptr) return false;
  char piece[kBytesPerRead];
  while (const std::size_t count = std::fread(piece, 1, sizeof piece, file_)) {
    bytes->append(piece, count);
    if (bytes->size() <= most_bytes) continue;
    *error = "has more than " + std::to_string(most_bytes) + " bytes";
    return false;
  }
  if (std::ferror(file_) == 0) return true;
  Explain(errno, error);
  return false;
}

}  // namespace kesu_tool

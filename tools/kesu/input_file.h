#ifndef KESU_TOOL_INPUT_FILE_H_
#define KESU_TOOL_INPUT_FILE_H_

#include <cstddef>
#include <cstdio>
#include <string>

namespace kesu_tool {

/// A file that the command line names, or standard input, which is "-".
class InputFile {
 public:
  explicit InputFile(const std::string& path);
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  ~InputFile();

  /// For messages.
  const std::string& name() const { return name_; }
  /// Null when it cannot be opened, and why is in `error`: "cannot be read: ...".
  std::FILE* get(std::string* error) const;
  /// False, and why in `error`, when it cannot be read or has more than `most_bytes`.
  bool ReadAll(std::size_t most_bytes, std::string* bytes, std::string* error) const;

 private:
  std::string name_;
  std::FILE* file_;
  int errno_ = 0;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_INPUT_FILE_H_

#include "tools/kesu/result_stream.h"

#include <fcntl.h>
#include <unistd.h>

namespace kesu_tool {
namespace {

/// Makes `descriptor` refer to a file that swallows everything.
void Silence(int descriptor) {
  const int null_file = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (null_file == descriptor || null_file < 0) return;
  dup2(null_file, descriptor);
  close(null_file);
}

int CopyOf(int descriptor) {
  return fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

}  // namespace

ResultStream::ResultStream(bool wants_trace) : file_(nullptr) {
  std::fflush(stdout);
  const int results = CopyOf(STDOUT_FILENO);
  if (results >= 0) file_ = fdopen(results, "w");
  if (wants_trace) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    // In step with what goes to standard error directly.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  } else {
    Silence(STDOUT_FILENO);
  }
}

ResultStream::~ResultStream() {
  if (file_ != nullptr) std::fclose(file_);
}

void ResultStream::Write(const std::string& text) {
  if (file_ != nullptr) std::fwrite(text.data(), 1, text.size(), file_);
}

bool ResultStream::Flush() {
  return file_ != nullptr && std::fflush(file_) == 0 && std::ferror(file_) == 0;
}

SilentStandardError::SilentStandardError() : saved_(CopyOf(STDERR_FILENO)) {
  if (saved_ >= 0) Silence(STDERR_FILENO);
}

SilentStandardError::~SilentStandardError() {
  if (saved_ < 0) return;
  dup2(saved_, STDERR_FILENO);
  close(saved_);
}

}  // namespace kesu_tool

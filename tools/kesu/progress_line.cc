#include "tools/kesu/progress_line.h"

#include <cstdio>
#include <utility>

#include <unistd.h>

namespace kesu_tool {
namespace {

constexpr unsigned kIntervalMs = 250;
/// To the beginning of the line, and nothing behind that.
constexpr char kClearLine[] = "\r\033[K";

}  // namespace

ProgressLine::ProgressLine(std::function<std::string()> text) : text_(std::move(text)) {
  if (isatty(STDERR_FILENO) != 0) source_ = g_timeout_add(kIntervalMs, Show, this);
}

ProgressLine::~ProgressLine() {
  if (source_ != 0) g_source_remove(source_);
  Clear();
}

void ProgressLine::Clear() {
  if (std::exchange(is_shown_, false)) std::fputs(kClearLine, stderr);
}

gboolean ProgressLine::Show(void* line) {
  auto* self = static_cast<ProgressLine*>(line);
  std::fprintf(stderr, "%s%s", kClearLine, self->text_().c_str());
  self->is_shown_ = true;
  return G_SOURCE_CONTINUE;
}

}  // namespace kesu_tool

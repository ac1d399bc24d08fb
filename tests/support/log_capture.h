#ifndef SUPPORT_LOG_CAPTURE_H_
#define SUPPORT_LOG_CAPTURE_H_

#include <string>
#include <vector>

#include "kesu/common/base/logging.h"

#include "support/bytes.h"

namespace kesu_test {

/// Collects the lines that the log callback receives at the given level for as long as it lives;
/// after that the level is what it was and there is no callback. One at a time.
class LogCapture {
 public:
  explicit LogCapture(common_base::LogLevel level) : old_level_(common_base::notify_level) {
    common_base::SetLogLevel(level);
    const auto collect = [](const common_base::GString& line, void* capture) {
      static_cast<LogCapture*>(capture)->lines_.push_back(TextOf(line));
    };
    common_base::SetLogCallback(collect, this);
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  ~LogCapture() {
    common_base::SetLogCallback(nullptr, nullptr);
    common_base::SetLogLevel(old_level_);
  }

  const std::vector<std::string>& lines() const { return lines_; }

 private:
  common_base::LogLevel old_level_;
  std::vector<std::string> lines_;
};

}  // namespace kesu_test

#endif  // SUPPORT_LOG_CAPTURE_H_

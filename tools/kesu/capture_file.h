#ifndef KESU_TOOL_CAPTURE_FILE_H_
#define KESU_TOOL_CAPTURE_FILE_H_

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include <pcap/pcap.h>

namespace kesu_tool {

/// The packets of a file that tcpdump and its like have written, one by one.
class CaptureFile {
 public:
  /// Whether a file that begins like that is one: at least four bytes.
  static bool IsOne(std::string_view beginning);

  /// Takes `file` over. Check error() then.
  explicit CaptureFile(std::FILE* file);
  CaptureFile(const CaptureFile&) = delete;
  CaptureFile& operator=(const CaptureFile&) = delete;
  ~CaptureFile();

  int link_type() const { return pcap_datalink(capture_); }
  /// As far as it was captured, good until the next call; nothing at the end, or after an error.
  std::optional<std::string_view> NextPacket();
  /// Why there are no more packets; empty where the file is at its end.
  const std::string& error() const { return error_; }

 private:
  pcap_t* capture_ = nullptr;
  std::string error_;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_CAPTURE_FILE_H_

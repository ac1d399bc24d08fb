#include "tools/kesu/capture_file.h"

namespace kesu_tool {

bool CaptureFile::IsOne(std::string_view beginning) {
  // Of both byte orders: microseconds, nanoseconds; and the newer form.
  constexpr std::string_view kBeginnings[] = {"\xA1\xB2\xC3\xD4", "\xD4\xC3\xB2\xA1",
                                              "\xA1\xB2\x3C\x4D", "\x4D\x3C\xB2\xA1",
                                              "\x0A\x0D\x0D\x0A"};
  for (const std::string_view known : kBeginnings) {
    if (beginning.starts_with(known)) return true;
  }
  return false;
}

CaptureFile::CaptureFile(std::FILE* file) {
  char error[PCAP_ERRBUF_SIZE] = "";
  capture_ = pcap_fopen_offline(file, error);
  if (capture_ != nullptr) return;
  error_ = error;
  std::fclose(file);
}

CaptureFile::~CaptureFile() {
  if (capture_ != nullptr) pcap_close(capture_);
}

std::optional<std::string_view> CaptureFile::NextPacket() {
  if (capture_ == nullptr) return std::nullopt;
  pcap_pkthdr* header = nullptr;
  const unsigned char* bytes = nullptr;
  const int outcome = pcap_next_ex(capture_, &header, &bytes);
  if (outcome == PCAP_ERROR) error_ = pcap_geterr(capture_);
  if (outcome != 1) return std::nullopt;
  return std::string_view(reinterpret_cast<const char*>(bytes), header->caplen);
}

}  // namespace kesu_tool

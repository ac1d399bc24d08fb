#ifndef KESU_BENCH_PEERS_MUX_FORMAT_H_
#define KESU_BENCH_PEERS_MUX_FORMAT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The framing of the multiplexer, by hand, for the peer that packs and the server that answers.
namespace plain {

constexpr std::uint16_t kProtocolVersion = 1;
constexpr std::uint16_t kHeaderBlock = 0x0001;
constexpr std::uint16_t kRequestBlock = 0x0100;
constexpr std::uint16_t kResponseBlock = 0x8100;
constexpr std::uint16_t kStatusOk = 200;
constexpr char kServiceUri[] = "g:loc/ql";
constexpr std::uint16_t kServiceVersion = 1;
constexpr char kMuxContentType[] = "application/binary";

/// Appends numbers, the first byte the most significant.
template <typename Number>
void PutNumber(Number value, std::string* out) {
  char bytes[sizeof value];
  for (std::size_t i = sizeof value; i > 0; value = static_cast<Number>(value >> 4 >> 4)) {
    bytes[--i] = static_cast<char>(value);
  }
  out->append(bytes, sizeof bytes);
}

inline void PutText(std::string_view text, std::string* out) {
  PutNumber(static_cast<std::uint16_t>(text.size()), out);
  out->append(text);
}

/// Takes numbers and spans off the front of `bytes`. What is not there is zero or empty, and fails
/// the reader for good.
class MuxReader {
 public:
  explicit MuxReader(std::string_view bytes) : rest_(bytes) {}

  bool ok() const { return ok_; }
  bool at_end() const { return rest_.empty(); }

  template <typename Number>
  Number Take() {
    Number value = 0;
    for (const char byte : TakeBytes(sizeof value)) {
      value = static_cast<Number>(value << 4 << 4 | static_cast<unsigned char>(byte));
    }
    return value;
  }

  std::string_view TakeBytes(std::size_t count) {
    if (count > rest_.size()) {
      ok_ = false;
      rest_ = {};
      return {};
    }
    const std::string_view bytes = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return bytes;
  }

  std::string_view TakeRest() { return TakeBytes(rest_.size()); }
  std::string_view TakeText() { return TakeBytes(Take<std::uint16_t>()); }

 private:
  std::string_view rest_;
  bool ok_ = true;
};

}  // namespace plain

#endif  // KESU_BENCH_PEERS_MUX_FORMAT_H_

#ifndef SERVER_INSPECT_EXCHANGE_H_
#define SERVER_INSPECT_EXCHANGE_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace kesu_server {

/// A body as it was kept: its beginning, where it is long.
struct KeptBody {
  std::string bytes;
  /// As it was sent.
  std::size_t length = 0;
  /// Without parameters.
  std::string media_type;

  bool is_whole() const { return bytes.size() == length; }
};

/// A POST and what was answered.
struct Exchange {
  /// Counts from 1.
  std::uint64_t id = 0;
  /// When it was answered, since 1970.
  std::int64_t time_us = 0;
  std::int64_t duration_us = 0;
  /// The client's address.
  std::string client;
  unsigned status = 0;
  /// The fault that was applied, as it was asked for; empty for none.
  std::string fault;
  KeptBody request;
  KeptBody reply;
};

}  // namespace kesu_server

#endif  // SERVER_INSPECT_EXCHANGE_H_

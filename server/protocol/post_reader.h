#ifndef SERVER_PROTOCOL_POST_READER_H_
#define SERVER_PROTOCOL_POST_READER_H_

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "server/protocol/byte_cursor.h"

namespace kesu_server {

/// One request block. Its texts are bytes as they came, checked for nothing but their length.
struct ServiceRequest {
  std::int16_t id = 0;
  std::string_view service;
  std::int16_t version = 0;
  std::string_view payload;
  /// The block is of the multipart type; its payload is everything behind the version, without a
  /// length of its own.
  bool is_multipart = false;
};

/// A POST taken apart. The views point into the body that was read.
struct Post {
  std::string_view client_version;
  std::int64_t cookie = 0;
  std::string_view configuration;
  std::vector<ServiceRequest> requests;
};

/// Takes the body of a POST apart: protocol version 1, one header block, and request blocks up to
/// the end. Every length must agree with what it encloses. This reader shares no code with the
/// library's framing on purpose, so that the two check each other.
std::optional<ReadError> ReadPost(std::string_view body, Post* post);

}  // namespace kesu_server

#endif  // SERVER_PROTOCOL_POST_READER_H_

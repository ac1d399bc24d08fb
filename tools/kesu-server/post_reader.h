#ifndef KESU_SERVER_POST_READER_H_
#define KESU_SERVER_POST_READER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kesu_server {

/// One request block. Its texts are bytes as they came, checked for nothing but their length.
struct ServiceRequest {
  std::int16_t id = 0;
  std::string_view service;
  std::int16_t version = 0;
  std::string_view payload;
};

/// A POST taken apart. The views point into the body that was read.
struct Post {
  std::string_view client_version;
  std::int64_t cookie = 0;
  std::string_view configuration;
  std::vector<ServiceRequest> requests;
};

struct PostError {
  /// Where the field starts that is wrong, or that the body ends in.
  std::size_t offset = 0;
  std::string description;
};

/// Takes the body of a POST apart: protocol version 1, one header block, and request blocks up to
/// the end. Every length must agree with what it encloses. This reader shares no code with the
/// library's framing on purpose, so that the two check each other.
std::optional<PostError> ReadPost(std::string_view body, Post* post);

}  // namespace kesu_server

#endif  // KESU_SERVER_POST_READER_H_

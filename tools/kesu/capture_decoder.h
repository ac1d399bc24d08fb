#ifndef KESU_TOOL_CAPTURE_DECODER_H_
#define KESU_TOOL_CAPTURE_DECODER_H_

#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "decode/tree.h"
#include "tools/kesu/http_stream.h"
#include "tools/kesu/packet.h"

namespace kesu_tool {

/// Shows the HTTP messages of a capture as they end, each as a tree of its own, and what is wrong
/// with them.
class CaptureDecoder {
 public:
  using OnFault = std::function<void(const std::string& where, const kesu_decode::Fault& fault)>;

  /// `writer` is borrowed.
  CaptureDecoder(kesu_decode::TreeWriter* writer, OnFault on_fault);
  CaptureDecoder(const CaptureDecoder&) = delete;
  CaptureDecoder& operator=(const CaptureDecoder&) = delete;
  ~CaptureDecoder();

  void Add(const TcpSegment& segment);
  /// A piece of the bytes themselves, in place of segments.
  void AddBytes(std::string_view bytes);
  /// There is no more.
  void End();

  std::size_t messages() const { return messages_; }

 private:
  class Connection;
  /// From the one that was longest without a segment on.
  using Connections = std::list<Connection>;
  /// The smaller end first.
  using Ends = std::pair<Endpoint, Endpoint>;

  Connection* Find(const TcpSegment& segment);
  void Drop(Connections::iterator connection);
  void Show(const HttpMessage& message, Connection* connection, bool is_from_first);
  void ShowBody(const HttpMessage& message, const std::string& where);
  void ShowPassedOver(std::uint64_t offset, std::uint64_t length, Connection* connection,
                      bool is_from_first);
  void ShowEnds(Connection* connection, bool is_from_first);

  kesu_decode::TreeWriter* writer_;
  const OnFault on_fault_;
  Connections connections_;
  std::map<Ends, Connections::iterator> by_ends_;
  std::size_t held_ = 0;
  std::size_t last_number_ = 0;
  std::size_t messages_ = 0;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_CAPTURE_DECODER_H_

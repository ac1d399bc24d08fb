#include "tools/kesu/capture_decoder.h"

#include <algorithm>
#include <optional>

#include "decode/body_decoder.h"

namespace kesu_tool {
namespace {

using kesu_decode::Fault;
using kesu_decode::kUnknownEnd;
using kesu_decode::Node;
using kesu_decode::RawBytes;
using kesu_decode::TextBytes;

constexpr std::size_t kMostConnections = 10'000;
constexpr std::size_t kMostHeld = std::size_t{1} << 28;
constexpr char kBinary[] = "application/binary";

common_base::ByteView ViewOf(std::string_view text) {
  return {common_base::kReferenceExistingBuffer,
          reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size())};
}

Node TextNode(std::uint64_t offset, const char* name, std::string_view text) {
  return {
      .offset = static_cast<std::size_t>(offset), .name = name, .value = TextBytes{ViewOf(text)}};
}

}  // namespace

/// Both directions between two ends.
class CaptureDecoder::Connection {
 public:
  /// `ends` are those of none where the bytes come by themselves.
  Connection(CaptureDecoder* decoder, Ends ends)
      : ends_(std::move(ends)), first_(decoder, this, true), second_(decoder, this, false) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  const Ends& ends() const { return ends_; }
  bool is_real() const { return !ends_.first.address.empty(); }
  std::size_t held() const { return first_.held() + second_.held(); }
  bool has_ended() const { return first_.tcp.has_ended() && second_.tcp.has_ended(); }
  bool IsAnother(const TcpSegment& segment) { return Direction(segment).tcp.IsAnother(segment); }
  void Add(const TcpSegment& segment) {
    Direction(segment).tcp.Add(segment);
    if (segment.is_reset) End();
  }
  void AddBytes(std::string_view bytes) { first_.http.OnBytes(bytes); }
  void End() {
    first_.tcp.End();
    second_.tcp.End();
  }

  /// 0 until there is something to show.
  std::size_t number = 0;

 private:
  struct OneWay final : HttpStream::Receiver {
    OneWay(CaptureDecoder* capture, Connection* its_connection, bool from_first)
        : decoder(capture), connection(its_connection), is_from_first(from_first) {}

    void OnMessage(const HttpMessage& message) override {
      decoder->Show(message, connection, is_from_first);
    }
    void OnPassedOver(std::uint64_t offset, std::uint64_t length) override {
      decoder->ShowPassedOver(offset, length, connection, is_from_first);
    }
    std::size_t held() const { return tcp.waiting() + http.held(); }

    CaptureDecoder* decoder;
    Connection* connection;
    const bool is_from_first;
    HttpStream http{this};
    TcpStream tcp{&http};
  };

  OneWay& Direction(const TcpSegment& segment) {
    return segment.from == ends_.first ? first_ : second_;
  }

  const Ends ends_;
  OneWay first_;
  OneWay second_;
};

CaptureDecoder::CaptureDecoder(kesu_decode::TreeWriter* writer, OnFault on_fault)
    : writer_(writer), on_fault_(std::move(on_fault)) {}

CaptureDecoder::~CaptureDecoder() = default;

CaptureDecoder::Connection* CaptureDecoder::Find(const TcpSegment& segment) {
  const Ends ends = std::minmax(segment.from, segment.to);
  auto found = by_ends_.find(ends);
  if (found != by_ends_.end() && found->second->IsAnother(segment)) {
    Drop(found->second);
    found = by_ends_.end();
  }
  if (found != by_ends_.end()) {
    connections_.splice(connections_.end(), connections_, found->second);
    return &connections_.back();
  }
  // The rest of one that has ended.
  if (segment.payload.empty() && !segment.is_syn) return nullptr;
  connections_.emplace_back(this, ends);
  by_ends_[ends] = std::prev(connections_.end());
  return &connections_.back();
}

void CaptureDecoder::Add(const TcpSegment& segment) {
  Connection* connection = Find(segment);
  if (connection == nullptr) return;
  held_ -= connection->held();
  connection->Add(segment);
  held_ += connection->held();
  if (connection->has_ended()) Drop(std::prev(connections_.end()));
  while (held_ > kMostHeld || connections_.size() > kMostConnections) Drop(connections_.begin());
}

void CaptureDecoder::AddBytes(std::string_view bytes) {
  if (connections_.empty()) connections_.emplace_back(this, Ends());
  connections_.back().AddBytes(bytes);
}

void CaptureDecoder::Drop(Connections::iterator connection) {
  held_ -= connection->held();
  connection->End();
  by_ends_.erase(connection->ends());
  connections_.erase(connection);
}

void CaptureDecoder::End() {
  while (!connections_.empty()) Drop(connections_.begin());
}

void CaptureDecoder::ShowEnds(Connection* connection, bool is_from_first) {
  if (!connection->is_real()) return;
  if (connection->number == 0) connection->number = ++last_number_;
  const auto& [first, second] = connection->ends();
  writer_->Leaf({.name = "connection", .value = static_cast<long long>(connection->number)},
                kUnknownEnd);
  writer_->Leaf(TextNode(0, "from", ToText(is_from_first ? first : second)), kUnknownEnd);
  writer_->Leaf(TextNode(0, "to", ToText(is_from_first ? second : first)), kUnknownEnd);
}

void CaptureDecoder::Show(const HttpMessage& message, Connection* connection, bool is_from_first) {
  ++messages_;
  const std::string where = "message " + std::to_string(messages_);
  writer_->Open({.offset = static_cast<std::size_t>(message.start.offset),
                 .name = message.is_response ? "HTTP response" : "HTTP request"});
  ShowEnds(connection, is_from_first);
  writer_->Leaf(TextNode(message.start.offset, "start line", message.start.text), kUnknownEnd);
  writer_->OpenList("headers");
  for (const HttpMessage::Line& header : message.headers) {
    writer_->Leaf(TextNode(header.offset, "header", header.text), kUnknownEnd);
  }
  writer_->CloseList();
  if (!message.body.empty()) ShowBody(message, where);
  if (!message.fault.empty()) {
    const Fault fault{static_cast<std::size_t>(message.start.offset), message.fault};
    writer_->Stop(fault);
    on_fault_(where, fault);
  }
  writer_->Close(kUnknownEnd);
}

void CaptureDecoder::ShowBody(const HttpMessage& message, const std::string& where) {
  const common_base::ByteView body = ViewOf(message.body);
  if (message.Header("content-type") != kBinary) {
    writer_->Leaf({.name = "body",
                   .length = static_cast<long long>(message.body.size()),
                   .value = RawBytes{body}},
                  kUnknownEnd);
    return;
  }
  const std::optional<Fault> fault = kesu_decode::BodyDecoder(writer_).Decode(
      body, "offsets inside are those of the body", !message.is_response);
  if (fault && message.fault.empty()) on_fault_(where + ", body", *fault);
}

void CaptureDecoder::ShowPassedOver(std::uint64_t offset, std::uint64_t length,
                                    Connection* connection, bool is_from_first) {
  writer_->Open({.offset = static_cast<std::size_t>(offset),
                 .name = "no HTTP message",
                 .length = static_cast<long long>(length)});
  ShowEnds(connection, is_from_first);
  writer_->Close(kUnknownEnd);
}

}  // namespace kesu_tool

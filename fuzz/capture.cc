// Captures: packets of every link are read without harm; the bytes of a connection come out as they
// went in, however they are cut, repeated and mixed; and an HTTP stream holds the same messages in
// one piece and in many.
#include <string>
#include <vector>

#include "fuzz/byte_script.h"
#include "tools/kesu/capture_decoder.h"

namespace {

using namespace kesu_fuzz;
using kesu_tool::TcpSegment;

class NullTreeWriter final : public kesu_decode::TreeWriter {
 public:
  void Open(const kesu_decode::Node&) override { ++depth_; }
  void Close(std::size_t) override { Require(--depth_ >= 0); }
  void OpenList(const char*) override { ++depth_; }
  void CloseList() override { Close(0); }
  void Leaf(const kesu_decode::Node&, std::size_t) override {}
  void Stop(const kesu_decode::Fault& fault) override { Require(!fault.reason.empty()); }

 private:
  int depth_ = 0;
};

void DecodePackets(ByteScript script) {
  const int link_type =
      script.TakeByte() % 2 == 0 ? static_cast<int>(script.TakeByte()) : script.TakeInt16();
  NullTreeWriter writer;
  kesu_tool::CaptureDecoder decoder(&writer, [](const std::string&, const auto&) {});
  while (!script.IsAtEnd()) {
    const std::string packet(script.TakeText(script.TakeByte()));
    if (const auto segment = kesu_tool::ReadSegment(link_type, packet)) decoder.Add(*segment);
  }
  decoder.End();
}

struct Received final : kesu_tool::TcpSink {
  void OnBytes(std::string_view piece) override { bytes += piece; }
  void OnGap(std::uint64_t length) override { bytes.append(length, '?'); }
  void OnEnd() override { ++ends; }

  std::string bytes;
  int ends = 0;
};

void PutInOrder(ByteScript script) {
  const std::string sent(script.TakeText(script.TakeByte()));
  TcpSegment start;
  start.is_syn = true;
  start.sequence_number = script.TakeUint32();
  Received received;
  kesu_tool::TcpStream stream(&received);
  stream.Add(start);
  const auto add = [&](std::size_t place, std::size_t length, bool is_fin) {
    TcpSegment segment;
    segment.sequence_number = start.sequence_number + 1 + static_cast<std::uint32_t>(place);
    segment.payload = std::string_view(sent).substr(place, length);
    segment.is_fin = is_fin;
    stream.Add(segment);
  };
  while (!script.IsAtEnd()) {
    const std::size_t place = script.TakeByte();
    if (place <= sent.size()) add(place, script.TakeByte(), false);
  }
  Require(sent.starts_with(received.bytes) && received.ends == 0);
  const bool ends_orderly = sent.size() % 2 == 0;
  for (std::size_t place = 0; ends_orderly && place < sent.size(); ++place) add(place, 1, false);
  add(sent.size(), 0, true);
  stream.End();
  Require(received.bytes.size() == sent.size() && received.ends == 1);
  Require(!ends_orderly || received.bytes == sent);
}

struct Messages final : kesu_tool::HttpStream::Receiver {
  void OnMessage(const kesu_tool::HttpMessage& message) override {
    text += message.start.text + std::to_string(message.start.offset);
    for (const auto& header : message.headers) text += header.text + std::to_string(header.offset);
    text += "|" + message.body + "|" + message.fault + "\n";
  }
  void OnPassedOver(std::uint64_t offset, std::uint64_t length) override {
    text += std::to_string(offset) + "-" + std::to_string(length) + "\n";
  }

  std::string text;
};

void ReadHttp(ByteScript script) {
  const int longest_piece = static_cast<int>(script.TakeByte() % 40) + 1;
  const std::string_view all = script.TakeRest();
  Messages whole;
  kesu_tool::HttpStream stream(&whole);
  stream.OnBytes(all);
  Messages cut;
  kesu_tool::HttpStream cut_stream(&cut);
  for (ByteScript rest(all); !rest.IsAtEnd();) {
    cut_stream.OnBytes(rest.TakeText(static_cast<std::size_t>(longest_piece)));
  }
  const std::uint64_t gap = all.size() % 3;
  for (kesu_tool::HttpStream* it : {&stream, &cut_stream}) {
    if (gap > 0) it->OnGap(gap);
    it->OnEnd();
  }
  Require(whole.text == cut.text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ByteScript script(bytes, size);
  switch (script.TakeByte() % 3) {
    case 0:
      DecodePackets(script);
      break;
    case 1:
      PutInOrder(script);
      break;
    default:
      ReadHttp(script);
  }
  return 0;
}

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/base/data_output_stream.h"
#include "kesu/proto/lbs.h"

#include "bench/benchmark.h"
#include "bench/peers/heap_counter.h"
#include "bench/peers/lines.h"
#include "bench/peers/plain/codec.h"
#include "bench/peers/reply_texts.h"
#include "bench/peers/typed_text.h"
#include "bench/sample_messages.h"

namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_base::DataOutputStream;
using common_base::GString;

constexpr int kRepetitions = 50;
constexpr double kBytesPerKilobyte = 1024;
constexpr double kDecodeAndReadGoal = 0.75;

/// One message in both codecs.
struct ReplyCodec {
  using Ours = lbs::GLocReply;
  using Plain = plain::Reply;
  static constexpr char kName[] = "reply";
  static constexpr int kSize = 2931;
  static constexpr double kDecodeGoal = 0.50;
  static constexpr double kEncodeGoal = 0.43;
  static constexpr double kEncodeTypedGoal = 0.70;
  static void Fill(Ours* message, TextMaker make_text) { FillReply(message, make_text); }
  static bool Read(plain::Cursor in, Plain* out) { return plain::ReadReply(in, out); }
  template <typename Buffer>
  static void Write(const Plain& in, Buffer* out) {
    plain::WriteReply(in, out);
  }
};

struct RequestCodec {
  using Ours = lbs::GLocRequest;
  using Plain = plain::Request;
  static constexpr char kName[] = "request";
  static constexpr int kSize = 900;
  static constexpr double kDecodeGoal = 0.65;
  static constexpr double kEncodeGoal = 0.65;
  static constexpr double kEncodeTypedGoal = kNoGoal;
  static void Fill(Ours* message, TextMaker make_text) { FillRequest(message, make_text); }
  static bool Read(plain::Cursor in, Plain* out) { return plain::ReadRequest(in, out); }
  template <typename Buffer>
  static void Write(const Plain& in, Buffer* out) {
    plain::WriteRequest(in, out);
  }
};

template <typename Message>
ByteVector Encode(const Message& message) {
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  message.Write(&stream);
  return bytes;
}

template <typename Message>
void Decode(const ByteView& bytes, Message* message) {
  DataInputStream stream(&bytes);
  RequireSame(message->Read(&stream), "ours cannot read the message");
}

template <typename Codec>
void DecodePlain(const ByteView& bytes, typename Codec::Plain* message) {
  const plain::Cursor in(bytes.data(), static_cast<std::size_t>(bytes.length()));
  RequireSame(Codec::Read(in, message), "it cannot read the message");
}

template <typename Codec>
ByteVector Sample() {
  typename Codec::Ours message;
  Codec::Fill(&message, &common_base::NewGStringFromUtf8);
  ByteVector bytes = Encode(message);
  RequireSame(bytes.length() == Codec::kSize, "the sample has another size");
  return bytes;
}

template <typename Buffer>
bool Equals(const ByteView& ours, const Buffer& theirs) {
  return theirs.size() == static_cast<std::size_t>(ours.length()) &&
         std::memcmp(ours.data(), theirs.data(), theirs.size()) == 0;
}

/// Both read the same bytes, and write them again as they were.
template <typename Codec>
void RequireSameBytes(const ByteView& bytes, typename Codec::Ours* ours,
                      typename Codec::Plain* theirs) {
  Decode(bytes, ours);
  DecodePlain<Codec>(bytes, theirs);
  plain::Buffer written;
  Codec::Write(*theirs, &written);
  RequireSame(Equals(bytes, written), "it writes other bytes");
  plain::TunedBuffer tuned;
  Codec::Write(*theirs, &tuned);
  RequireSame(Equals(bytes, tuned), "it writes other bytes when tuned");
  RequireSame(Equals(Encode(*ours), written), "ours writes other bytes");
  typename Codec::Ours typed;
  Codec::Fill(&typed, &TypeText);
  RequireSame(Equals(Encode(typed), written), "ours writes other bytes of typed texts");
}

std::u16string UnitsOf(const GString& text) {
  std::u16string units;
  for (int unit = 0; (unit = text->CodePointAt(static_cast<int>(units.size()))) != 0xFFFF;) {
    units.push_back(static_cast<char16_t>(unit));
  }
  return units;
}

void RequireSameTexts(const lbs::GLocReply& ours, const plain::Reply& theirs) {
  std::vector<std::u16string> our_texts;
  std::vector<std::u16string> their_texts;
  ForEachText(ours, [&](const GString& text) { our_texts.push_back(UnitsOf(text)); });
  ForEachText(theirs, [&](const icu::UnicodeString& text) {
    their_texts.emplace_back(text.getBuffer(), static_cast<std::size_t>(text.length()));
  });
  RequireSame(our_texts == their_texts && our_texts.size() == 129, "it reads other texts");
}

/// Asks each text for its first UTF-16 unit, which makes ours decode the text whole.
long long ReadTexts(const lbs::GLocReply& reply) {
  long long sum = 0;
  ForEachText(reply, [&](const GString& text) { sum += text->CodePointAt(0); });
  return sum;
}

long long ReadTexts(const plain::Reply& reply) {
  long long sum = 0;
  ForEachText(reply, [&](const icu::UnicodeString& text) { sum += text.charAt(0); });
  return sum;
}

template <typename Codec>
Line DecodeLine(const ByteView& bytes) {
  const auto ours = [&] {
    typename Codec::Ours message;
    Decode(bytes, &message);
  };
  const auto theirs = [&] {
    typename Codec::Plain message;
    DecodePlain<Codec>(bytes, &message);
  };
  return RatioLine(std::string(Codec::kName) + " decode", {{ours}, {theirs}, kRepetitions},
                   Codec::kDecodeGoal);
}

Line DecodeAndReadLine(const ByteView& bytes) {
  const auto ours = [&] {
    lbs::GLocReply message;
    Decode(bytes, &message);
    Keep(ReadTexts(message));
  };
  const auto theirs = [&] {
    plain::Reply message;
    DecodePlain<ReplyCodec>(bytes, &message);
    Keep(ReadTexts(message));
  };
  return RatioLine("reply decode, every text read", {{ours}, {theirs}, kRepetitions},
                   kDecodeAndReadGoal);
}

template <typename Codec, typename Buffer = plain::Buffer>
Line EncodeLine(const std::string& name, const typename Codec::Ours& message,
                const typename Codec::Plain& plain_message, double goal) {
  const auto ours = [&] { Keep(Encode(message).length()); };
  const auto theirs = [&] {
    Buffer bytes;
    Codec::Write(plain_message, &bytes);
    Keep(static_cast<long long>(bytes.size()));
  };
  return RatioLine(std::string(Codec::kName) + " encode, " + name, {{ours}, {theirs}, kRepetitions},
                   goal);
}

void AddHeapLines(const ByteView& bytes, std::vector<Line>* lines) {
  lbs::GLocReply ours;
  plain::Reply theirs;
  const HeapUse our_use = CountHeapUse([&] { Decode(bytes, &ours); });
  const HeapUse their_use = CountHeapUse([&] { DecodePlain<ReplyCodec>(bytes, &theirs); });
  lines->push_back({"reply decode, allocations", "", static_cast<double>(our_use.allocations),
                    static_cast<double>(their_use.allocations), Goal::kOurs, 30});
  lines->push_back(
      {"reply decode, held", "KB", static_cast<double>(our_use.bytes_held) / kBytesPerKilobyte,
       static_cast<double>(their_use.bytes_held) / kBytesPerKilobyte, Goal::kOurs, 13});
  const HeapUse our_writing = CountHeapUse([&] { Keep(Encode(ours).length()); });
  const HeapUse their_writing = CountHeapUse([&] {
    plain::Buffer written;
    plain::WriteReply(theirs, &written);
  });
  lines->push_back({"reply encode, allocations", "", static_cast<double>(our_writing.allocations),
                    static_cast<double>(their_writing.allocations), Goal::kOurs, 10});
}

template <typename Codec>
void AddCodecLines(std::vector<Line>* lines) {
  const ByteVector sample = Sample<Codec>();
  const ByteView bytes(sample);
  typename Codec::Ours unread;
  typename Codec::Plain theirs;
  RequireSameBytes<Codec>(bytes, &unread, &theirs);
  typename Codec::Ours typed;
  Codec::Fill(&typed, &TypeText);
  lines->push_back(DecodeLine<Codec>(bytes));
  lines->push_back(EncodeLine<Codec>("unread", unread, theirs, Codec::kEncodeGoal));
  lines->push_back(EncodeLine<Codec>("from UTF-16", typed, theirs, Codec::kEncodeTypedGoal));
  lines->push_back(
      EncodeLine<Codec, plain::TunedBuffer>("beside a tuned writer", unread, theirs, kNoGoal));
  if constexpr (std::is_same_v<Codec, ReplyCodec>) {
    lbs::GLocReply read;
    Decode(bytes, &read);
    RequireSameTexts(read, theirs);
    lines->push_back(DecodeAndReadLine(bytes));
    AddHeapLines(bytes, lines);
  }
}

}  // namespace

std::vector<Line> CodecLines() {
  std::vector<Line> lines;
  AddCodecLines<ReplyCodec>(&lines);
  AddCodecLines<RequestCodec>(&lines);
  return lines;
}

std::function<void()> PlainReplyReading() {
  const auto sample = std::make_shared<ByteVector>(Sample<ReplyCodec>());
  return [sample] {
    plain::Reply message;
    DecodePlain<ReplyCodec>(*sample, &message);
  };
}

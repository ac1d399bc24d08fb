#include "kesu/common/base/string_format.h"
#include "kesu/proto/lbs.h"

#include "benchmark.h"
#include "sample_messages.h"

namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_base::DataOutputStream;

constexpr int kRepetitions = 1000;
constexpr double kBytesPerMegabyte = 1e6;

ByteVector Write(const common_net_proto::Message& message) {
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  message.Write(&stream);
  return bytes;
}

template <typename Message>
double EncodeRound(void (*fill)(Message*, TextMaker)) {
  Message message;
  fill(&message, &common_base::NewGStringFromUtf8);
  int size = 0;
  const double seconds = Seconds(kRepetitions, [&] { size = Write(message).length(); });
  return kRepetitions * size / seconds / kBytesPerMegabyte;
}

template <typename Message>
double DecodeRound(void (*fill)(Message*, TextMaker)) {
  Message message;
  fill(&message, &common_base::NewGStringFromUtf8);
  const ByteVector bytes = Write(message);
  const ByteView view(bytes);
  const double seconds = Seconds(kRepetitions, [&] {
    DataInputStream stream(&view);
    Message decoded;
    Keep(decoded.Read(&stream));
  });
  return kRepetitions * bytes.length() / seconds / kBytesPerMegabyte;
}

template <typename Message>
double SizeOf(void (*fill)(Message*, TextMaker)) {
  Message message;
  fill(&message, &common_base::NewGStringFromUtf8);
  return Write(message).length();
}

}  // namespace

std::vector<Benchmark> MessageBenchmarks() {
  return {
      {"message.reply.size", "bytes", [] { return SizeOf(FillReply); }},
      {"message.reply.decode", "MB/s", [] { return DecodeRound(FillReply); }},
      {"message.reply.encode", "MB/s", [] { return EncodeRound(FillReply); }},
      {"message.request.size", "bytes", [] { return SizeOf(FillRequest); }},
      {"message.request.decode", "MB/s", [] { return DecodeRound(FillRequest); }},
      {"message.request.encode", "MB/s", [] { return EncodeRound(FillRequest); }},
  };
}

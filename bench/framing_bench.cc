#include <memory>

#include "kesu/common/base/scoped_ptr.h"
#include "kesu/mux/multiplexed_post.h"
#include "kesu/mux/plain_request.h"
#include "kesu/mux/protocol_reader.h"

#include "benchmark.h"
#include "reply_builder.h"

namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_base::GVector;
using common_base::ScopedPtr;
using common_kesu::MultiplexedPost;
using common_kesu::PlainRequest;
using common_kesu::Request;

constexpr int kRepetitions = 200;
constexpr int kPostBytes = 32768;
constexpr int kPayloadBytes = 200;
constexpr double kBytesPerMegabyte = 1e6;

/// As many requests as fill one POST.
struct FullPost {
  FullPost() : header(config) {
    payload.AdjustLength(kPayloadBytes);
    common_base::GMemset(payload.data(), 'x', kPayloadBytes);
    view = ByteView(payload);
    for (int size = header.GetTotalLength(); size < kPostBytes;
         size += requests.back()->GetTotalLength()) {
      requests.push_back(std::make_unique<PlainRequest>(
          "g:loc/ql", common_kesu::ServiceVersion::kVersion1, &view));
      borrowed.Append(requests.back().get());
    }
  }

  common_kesu::MuxConfig config;
  common_kesu::HeaderRequest header;
  ByteVector payload;
  ByteView view;
  std::vector<std::unique_ptr<PlainRequest>> requests;
  GVector<Request*> borrowed;
};

double Pack() {
  FullPost full;
  int size = 0;
  const double seconds = Seconds(kRepetitions, [&] {
    MultiplexedPost post(full.borrowed, full.header.GetTotalLength());
    size = post.FillPayload(&full.header);
  });
  return kRepetitions * static_cast<double>(size) / seconds / kBytesPerMegabyte;
}

double Split() {
  FullPost full;
  ByteVector reply = NewReply();
  for (std::size_t i = 0; i < full.requests.size(); ++i) {
    AppendReplyBlock(static_cast<short>(i), full.view, &reply);
  }
  const ByteView view(reply);
  const double seconds = Seconds(kRepetitions, [&] {
    DataInputStream stream(&view);
    common_kesu::ProtocolReader reader(&stream);
    bool ok = false;
    reader.InitializeInput(&ok);
    while (ok) {
      const ScopedPtr<common_kesu::Response> response(reader.ReadResponse(&ok));
      if (response) Keep(response->ComputePayloadLength());
    }
  });
  return kRepetitions * static_cast<double>(reply.length()) / seconds / kBytesPerMegabyte;
}

}  // namespace

std::vector<Benchmark> FramingBenchmarks() {
  return {{"framing.pack_post", "MB/s", Pack}, {"framing.split_reply", "MB/s", Split}};
}

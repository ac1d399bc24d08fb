#ifndef TESTS_KESU_MUX_MUX_FIXTURE_H_
#define TESTS_KESU_MUX_MUX_FIXTURE_H_

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kesu/common/base/internal/async.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/mux/plain_request.h"

#include "support/bytes.h"
#include "support/manual_clock.h"
#include "support/stub_transport.h"

namespace kesu_test {

/// The multiplexer on a stub transport and a clock that is moved by hand.
struct MuxFixture {
  static constexpr char kUrl[] = "http://service.example/mux";
  /// Of the header block, the protocol version included, as Initialize() makes it.
  static constexpr int kHeaderBytes = 42;
  static constexpr long long kBatchDelay = 100000;
  static constexpr long long kRetryDelay = 500000;

  explicit MuxFixture(const char* url = kUrl) { Initialize(url); }
  ~MuxFixture() { common_kesu::MobileServiceMux::DeleteInstance(); }

  void Initialize(const char* url = kUrl) {
    auto* config = new common_kesu::MuxConfig;
    config->product = "prod";
    config->version = "1.0";
    config->locale = "en";
    config->distribution_channel = "ch";
    config->configuration = "cfg";
    config->service_url = url;
    config->platform = "plat";
    common_kesu::MobileServiceMux::Initialize(&transport, &queue, &clock, config);
  }

  common_kesu::MobileServiceMux* mux() const {
    return common_kesu::MobileServiceMux::GetInstance();
  }
  void Advance(long long ticks) {
    clock.Advance(ticks);
    queue.StartDeferredRequests();
  }

  ManualClock clock{777};
  common_base::SimpleRequestQueue queue{&clock};
  StubTransport transport;
};

/// A request for version 1 of the service "u" that owns its payload. Its block takes 17 bytes and
/// the payload.
class TestRequest final : public common_kesu::PlainRequest {
 public:
  explicit TestRequest(ListenerInterface* listener, std::string text = "")
      : PlainRequest("u", common_kesu::ServiceVersion::kVersion1), text_(std::move(text)) {
    set_payload(&view_);
    ReplaceListener(listener);
  }

 private:
  std::string text_;
  common_base::ByteView view_ = ViewOf(text_);
};

/// Writes down what it is told, and runs a function from inside.
struct RecordingListener final : common_kesu::Request::ListenerInterface {
  struct Outcome {
    /// The payload that the request was sent with.
    std::string name;
    int status;
    int http_status;
    std::string url;
    /// Behind a blank; "!" for an error.
    std::string payload;
  };

  bool RequestComplete(const common_kesu::Request* request, const common_kesu::Response* response,
                       bool*) override {
    const auto* plain = static_cast<const common_kesu::PlainRequest*>(request);
    const HttpRequestInterface* http = response->http_request();
    const std::unique_ptr<common_base::DataInputStream> stream(response->GetInputStream());
    outcomes.push_back({plain->payload() ? TextOf(*plain->payload()) : "", response->status_code(),
                        http ? http->HttpResponseStatusCode() : 0,
                        TextOf(response->http_status_info()->effective_url),
                        response->is_error() ? "!" : ' ' + TextOf(stream->ReadFully())});
    if (action) action(request);
    return true;
  }

  /// "a:200 text; b:-3!; " of what was told.
  std::string Told() const {
    std::string text;
    for (const Outcome& outcome : outcomes) {
      text += outcome.name + ':' + std::to_string(outcome.status) + outcome.payload + "; ";
    }
    return text;
  }

  std::vector<Outcome> outcomes;
  std::function<void(const common_kesu::Request*)> action;
};

struct PostedRequest {
  int id;
  std::string payload;
};

/// The request blocks of a POST, taken apart.
inline std::vector<PostedRequest> PostedRequests(std::string_view body) {
  const common_base::ByteView view = ViewOf(body);
  common_base::DataInputStream stream(&view);
  std::vector<PostedRequest> requests;
  stream.ReadUint16();
  stream.ReadByteSpan(stream.ReadInt32() + 2);
  while (!stream.hit_end_of_file()) {
    stream.ReadByteSpan(6);
    const int id = stream.ReadInt16();
    stream.ReadByteSpan(stream.ReadUint16() + 2);
    requests.push_back({id, TextOf(stream.ReadByteSpan(stream.ReadInt32()))});
  }
  REQUIRE_FALSE(stream.hit_error());
  return requests;
}

inline const std::string kReplyStart("\0\1", 2);

/// A reply block.
inline std::string ReplyBlock(int id, std::string_view payload, int status = 200,
                              std::string_view encodings = "") {
  const std::string body =
      BigEndian(static_cast<unsigned>(id), 2) + BigEndian(static_cast<unsigned>(status), 2) +
      BigEndian(encodings.size(), 2).append(encodings) + BigEndian(0, 4).append(payload);
  return BigEndian(body.size(), 4) + BigEndian(0x8100, 2) + body;
}

}  // namespace kesu_test

#endif  // TESTS_KESU_MUX_MUX_FIXTURE_H_

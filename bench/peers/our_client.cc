#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <glib.h>

#include "dovi/deferred_request_source.h"
#include "dovi/deployment_settings.h"
#include "dovi/dovi_http_request_factory.h"
#include "kesu/common/base/internal/async.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/mux/plain_request.h"

#include "bench/peers/client.h"
#include "bench/peers/comparison.h"
#include "bench/peers/mux_format.h"

namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_base::GString;
using common_base::ScopedPtr;
using common_kesu::MobileServiceMux;
using common_kesu::PlainRequest;
using common_kesu::Request;
using common_kesu::Response;

void UseHost(const std::string& host) {
  DoviDeploymentSettings settings;
  settings.host = host.c_str();
  settings.trace = DoviTraceTarget::kNowhere;
  SetDoviDeploymentSettings(settings);
}

ByteView ViewOf(const std::string& bytes) {
  return {common_base::kReferenceExistingBuffer,
          reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size())};
}

std::string_view TextOf(const ByteView& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(bytes.length())};
}

/// The transport, which keeps a copy of each body where that is asked for.
class KeepingFactory final : public DoviHttpRequestFactory {
 public:
  explicit KeepingFactory(bool keep_bodies) : keep_bodies_(keep_bodies) {}

  HttpRequestInterface* NewHttpPostRequest(const GString& url, const ByteView* body,
                                           ByteVector* response_body,
                                           StatusInfo* status_info) override {
    if (keep_bodies_) bodies_.emplace_back(TextOf(*body));
    return DoviHttpRequestFactory::NewHttpPostRequest(url, body, response_body, status_info);
  }
  const std::vector<std::string>& bodies() const { return bodies_; }

 private:
  bool keep_bodies_;
  std::vector<std::string> bodies_;
};

class OurClient final : public Client, public Request::ListenerInterface {
 public:
  OurClient(Sending sending, bool keep_bodies)
      : sending_(sending), factory_(keep_bodies), queue_(&clock_), timer_(&queue_, &clock_) {
    MobileServiceMux::Initialize(&factory_, &queue_, &clock_, new common_kesu::MuxConfig);
  }
  ~OurClient() override { MobileServiceMux::DeleteInstance(); }

  void Prepare(const std::vector<std::string>& requests) override {
    requests_.clear();
    for (const std::string& payload : requests) {
      requests_.push_back(std::make_unique<IndexedRequest>(uri_, payload, requests_.size()));
      requests_.back()->ReplaceListener(this);
    }
  }

  void Exchange(Answers* answers) override {
    answers_ = answers;
    MobileServiceMux* mux = MobileServiceMux::GetInstance();
    const bool send_now = sending_ == Sending::kOneEach;
    for (const auto& request : requests_) mux->Submit(request.get(), send_now);
    mux->FlushPendingRequests();
    while (!answers->all_taken()) g_main_context_iteration(nullptr, TRUE);
  }

  const std::vector<std::string>& bodies() const override { return factory_.bodies(); }

  bool RequestComplete(const Request* request, const Response* response, bool* ok) override {
    *ok = true;
    const ScopedPtr<DataInputStream> stream(response->GetInputStream());
    RequireSame(stream.get() != nullptr, "ours has failed");
    answers_->Take(static_cast<const IndexedRequest*>(request)->index(), response->status_code(),
                   TextOf(stream->ReadFully()));
    return true;
  }

 private:
  class IndexedRequest final : public PlainRequest {
   public:
    IndexedRequest(const GString& uri, const std::string& payload, std::size_t index)
        : PlainRequest(uri, common_kesu::ServiceVersion::kVersion1),
          view_(ViewOf(payload)),
          index_(index) {
      set_payload(&view_);
    }
    std::size_t index() const { return index_; }

   private:
    ByteView view_;
    std::size_t index_;
  };

  Sending sending_;
  common_base::MonotonicClock clock_;
  KeepingFactory factory_;
  common_base::SimpleRequestQueue queue_;
  DeferredRequestSource timer_;
  const GString uri_ = plain::kServiceUri;
  std::vector<std::unique_ptr<IndexedRequest>> requests_;
  Answers* answers_ = nullptr;
};

}  // namespace

std::unique_ptr<Client> NewOurClient(const std::string& host, Sending sending, bool keep_bodies) {
  // Before the transport is made.
  UseHost(host);
  return std::make_unique<OurClient>(sending, keep_bodies);
}

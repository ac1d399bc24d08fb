#include <memory>
#include <string>
#include <vector>

#include <glib.h>

#include "kesu/common/base/scoped_ptr.h"
#include "kesu/mux/mobile_service_mux.h"
#include "kesu/mux/plain_request.h"

#include "bench/peers/client.h"
#include "bench/peers/comparison.h"
#include "bench/peers/mux_format.h"
#include "bench/peers/our_transport.h"

namespace {

using common_base::ByteView;
using common_base::DataInputStream;
using common_base::GString;
using common_base::ScopedPtr;
using common_kesu::MobileServiceMux;
using common_kesu::PlainRequest;
using common_kesu::Request;
using common_kesu::Response;

ByteView ViewOf(const std::string& bytes) {
  return {common_base::kReferenceExistingBuffer,
          reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size())};
}

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

class OurClient final : public Client, public Request::ListenerInterface {
 public:
  OurClient(const std::string& host, Sending sending, bool keep_bodies)
      : sending_(sending), transport_(host, keep_bodies) {}

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

  const std::vector<std::string>& bodies() const override { return transport_.bodies(); }

  bool RequestComplete(const Request* request, const Response* response, bool* ok) override {
    *ok = true;
    const ScopedPtr<DataInputStream> stream(response->GetInputStream());
    RequireSame(stream.get() != nullptr, "ours has failed");
    answers_->Take(static_cast<const IndexedRequest*>(request)->index(), response->status_code(),
                   TextOf(stream->ReadFully()));
    return true;
  }

 private:
  Sending sending_;
  const GString uri_ = plain::kServiceUri;
  std::vector<std::unique_ptr<IndexedRequest>> requests_;
  Answers* answers_ = nullptr;
  /// Goes first, and lets go of the requests.
  OurTransport transport_;
};

}  // namespace

std::unique_ptr<Client> NewOurClient(const std::string& host, Sending sending, bool keep_bodies) {
  return std::make_unique<OurClient>(host, sending, keep_bodies);
}

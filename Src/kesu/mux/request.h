#ifndef KESU_MUX_REQUEST_H_
#define KESU_MUX_REQUEST_H_

#include "kesu/common/base/data_output_stream.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/block.h"
#include "kesu/mux/chunk_provider.h"
#include "kesu/mux/request_place.h"
#include "kesu/mux/response.h"

namespace common_kesu {

/// One block of a POST: knows how to write itself, and whether and when it is to be sent again.
///
/// A request that is deleted while it waits is forgotten wherever it does: nobody is told.
class Request : public Block {
 public:
  /// The party that a request's outcome is told.
  class ListenerInterface {
   public:
    /// The request is finished: its own answer, or an ErrorResponse. Called once, and never from
    /// inside a submission. The listener may delete the request here, and submit or cancel others.
    /// Sets `*ok` to whether it could make use of the response; the result is always true.
    virtual bool RequestComplete(const Request* request, const Response* response, bool* ok) = 0;

   protected:
    ~ListenerInterface() = default;
  };

  Request(BlockType type, int id) : Block(type, static_cast<short>(id)) {}
  ~Request() override;

  /// Whether the request may be sent once more after a failure. Each call counts as an attempt.
  virtual bool ShouldRetry() = 0;
  /// The ticks to wait before the next attempt. Each call doubles the next wait.
  virtual long long GetRetryTimeout() = 0;
  /// The bytes the whole block takes in the POST.
  virtual int GetTotalLength();
  /// The bytes of the body: computed on first use and not refreshed.
  virtual int GetBodyLength();
  /// A new provider, owned by the caller, of the header and body as they were when the first one
  /// was asked for. The request must outlive it.
  virtual ChunkProviderInterface* AsChunkProvider();
  virtual void WriteBody(common_base::DataOutputStream* out) = 0;
  virtual void WriteHeader(common_base::DataOutputStream* out);

  /// Borrowed; null where nobody listens.
  Request::ListenerInterface* listener() const { return listener_; }
  void ReplaceListener(Request::ListenerInterface* listener) { listener_ = listener; }

  void ResetChunkBuffer() { chunk_buffer_.Clear(); }

  /// Whether it is submitted, held back or in a POST, and its outcome is still to come.
  bool is_waiting() const { return places_.next() != &places_; }
  /// Calls `visit` with each RequestPlace of this request, from the oldest on, until it returns
  /// false. It may empty the place.
  template <typename Visit>
  void ForEachPlace(Visit visit) {
    for (RequestPlaceLink *link = places_.next(), *next = nullptr; link != &places_; link = next) {
      next = link->next();
      if (!visit(static_cast<RequestPlace*>(link))) return;
    }
  }

 private:
  friend class RequestPlace;

  /// Where the ring of its places begins and ends. Beside the listener, since both are needed to
  /// tell it.
  RequestPlaceLink places_;
  ListenerInterface* listener_ = nullptr;
  common_base::GVector<unsigned char> chunk_buffer_;
};

}  // namespace common_kesu

#endif  // KESU_MUX_REQUEST_H_

#ifndef KESU_MUX_REQUEST_PLACE_H_
#define KESU_MUX_REQUEST_PLACE_H_

namespace common_kesu {

class Request;

/// A link in the ring of the places of one request.
class RequestPlaceLink {
 public:
  RequestPlaceLink() = default;
  /// The new one stands in the ring in place of `other`, which is in none afterwards.
  RequestPlaceLink(RequestPlaceLink&& other) noexcept {
    if (other.next_ == &other) return;
    LinkBefore(other.next_);
    other.Unlink();
  }
  RequestPlaceLink& operator=(RequestPlaceLink&&) = delete;
  ~RequestPlaceLink() { Unlink(); }

  /// Itself where the ring has no other.
  RequestPlaceLink* next() const { return next_; }

 protected:
  void LinkBefore(RequestPlaceLink* next) {
    previous_ = next->previous_;
    next_ = next;
    previous_->next_ = next_->previous_ = this;
  }
  void Unlink() {
    previous_->next_ = next_;
    next_->previous_ = previous_;
    previous_ = next_ = this;
  }

 private:
  RequestPlaceLink* previous_ = this;
  RequestPlaceLink* next_ = this;
};

/// One of the places where a request waits: in a list, in a POST, for the end of a delay. The two
/// know of each other, so that a request is found without a search wherever it waits, and leaves
/// all its places when it is deleted.
class RequestPlace : public RequestPlaceLink {
 public:
  /// Of those the request has, it is the newest. `holder`, which is only compared, tells the places
  /// of one list, POST or scheduler from all others; `is_in_post` says which of these it is.
  /// `request` may be null: then the place is empty from the start.
  RequestPlace(Request* request, const void* holder, bool is_in_post);
  /// Takes over the place of `other`, which is not used any more.
  RequestPlace(RequestPlace&& other) noexcept = default;

  /// Null once it is empty.
  Request* request() const { return request_; }
  const void* holder() const { return holder_; }
  bool is_in_post() const { return is_in_post_; }

  /// Empties the place and returns the request that was there.
  Request* Take() {
    Unlink();
    Request* request = request_;
    request_ = nullptr;
    return request;
  }

 private:
  Request* request_;
  const void* holder_;
  bool is_in_post_;
};

}  // namespace common_kesu

#endif  // KESU_MUX_REQUEST_PLACE_H_

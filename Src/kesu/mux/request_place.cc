#include "kesu/mux/request_place.h"

#include "kesu/mux/request.h"

namespace common_kesu {

RequestPlace::RequestPlace(Request* request, const void* holder, bool is_in_post)
    : request_(request), holder_(holder), is_in_post_(is_in_post) {
  if (request != nullptr) LinkBefore(&request->places_);
}

}  // namespace common_kesu

#ifndef CLIENT_LOCATION_MESSAGES_H_
#define CLIENT_LOCATION_MESSAGES_H_

#include <chrono>
#include <string_view>

#include "client/observation.h"
#include "client/options.h"
#include "client/place.h"
#include "client/result.h"
#include "kesu/proto/lbs.h"

/// What applications say and are told, as the messages have it.
namespace kesu::detail {

void WriteAsker(const Options& options, std::string_view platform_key, lbs::GLocRequest* request);
/// `utc` is now.
void WriteQuestion(const Observation& observation, std::chrono::milliseconds utc,
                   lbs::GLocRequestElement* element);
void WriteQuestion(const Point& point, lbs::GLocRequestElement* element);

/// The first position in the reply. kNotFound without one, kMalformed where a value cannot be, such
/// as a point that is not on earth; `http_status` is for errors.
Result<Location> ReadLocation(const lbs::GLocReply& reply, int http_status);
/// What a reply says of the point that was asked about in this place of the request.
Result<Place> ReadPlace(const lbs::GLocReply& reply, int index, int http_status);

}  // namespace kesu::detail

#endif  // CLIENT_LOCATION_MESSAGES_H_

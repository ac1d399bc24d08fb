#ifndef SERVER_SERVICES_LESSONS_H_
#define SERVER_SERVICES_LESSONS_H_

#include <vector>

#include "kesu/proto/lbs.h"

#include "server/learn/lesson.h"
#include "server/services/location_messages.h"

namespace kesu_server {

/// What lookups teach that carry the device's own fix, with an accuracy. `observations` are those
/// of the request's elements. At most 200 lessons, so that one request cannot teach a whole town.
std::vector<Lesson> ReadLessons(const lbs::GLocRequest& request,
                                const std::vector<std::vector<Observation>>& observations);

}  // namespace kesu_server

#endif  // SERVER_SERVICES_LESSONS_H_

#ifndef SERVER_LEARN_LEARN_H_
#define SERVER_LEARN_LEARN_H_

#include <cstdint>

#include "server/learn/lesson.h"
#include "server/storage/learned_station.h"

namespace kesu_server {

/// Takes one lesson into what is known of its station; `time` is now, in seconds since 1970.
/// Nothing is learned of a station while it is blocked. One that was observed further apart than
/// its kind can reach has moved: it is forgotten and blocked for 48 hours, and for good when that
/// happens more often than once in each month since it was first seen.
void Learn(const Lesson& lesson, std::int64_t time, LearnedStation* station);

}  // namespace kesu_server

#endif  // SERVER_LEARN_LEARN_H_

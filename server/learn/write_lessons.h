#ifndef SERVER_LEARN_WRITE_LESSONS_H_
#define SERVER_LEARN_WRITE_LESSONS_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "server/learn/lesson.h"
#include "server/storage/storage.h"

namespace kesu_server {

/// Brings those of a station side by side, in the order in which they came, without those that say
/// nothing.
void GroupByStation(std::vector<Lesson>* lessons);

/// Lets the storage learn lessons that are grouped, in one transaction, and calls `also` within it,
/// which undoes it by being false. `now`, in seconds since 1970, is the time of lessons that have
/// none or one that is to come. Yields how many stations were found to be moving; none when the
/// storage fails.
std::optional<std::uint64_t> WriteLessons(
    std::span<const Lesson> lessons, std::int64_t now, Storage* storage,
    const std::function<bool()>& also = [] { return true; });

}  // namespace kesu_server

#endif  // SERVER_LEARN_WRITE_LESSONS_H_

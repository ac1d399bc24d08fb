#ifndef SERVER_BENCH_POSTS_H_
#define SERVER_BENCH_POSTS_H_

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "invented_world.h"

namespace kesu_server_bench {

/// The body of a POST with a request for each lookup, as devices that have a platform key send it.
std::string PostBody(std::span<const Lookup> lookups);

/// HTTP requests with so many lookups each, out of all that the world has.
std::vector<std::string> HttpPosts(const InventedWorld& world, std::size_t lookups_of_each);

/// Ends the program unless the body of a reply locates so many devices.
void ExpectLocated(std::string_view reply_body, std::size_t lookups);

}  // namespace kesu_server_bench

#endif  // SERVER_BENCH_POSTS_H_

#ifndef KESU_TOOL_STATS_TEXT_H_
#define KESU_TOOL_STATS_TEXT_H_

#include <string>

#include "client/counters.h"

namespace kesu_tool {

/// "posts=1 bytes_out=230 ...": what is 0 is left out where it has a name of its own.
std::string StatsText(const kesu::Counters& counters);

}  // namespace kesu_tool

#endif  // KESU_TOOL_STATS_TEXT_H_

#ifndef KESU_TOOL_LOCATION_CHECK_H_
#define KESU_TOOL_LOCATION_CHECK_H_

#include <string>

#include "kesu/proto/lbs.h"

namespace kesu_tool {

/// What a location of `reply` states that no place on earth has, in words; empty where there is
/// nothing of the kind. What a location does not state is not missed.
std::string DescribeImpossible(const lbs::GLocReply& reply);

}  // namespace kesu_tool

#endif  // KESU_TOOL_LOCATION_CHECK_H_

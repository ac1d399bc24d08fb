#ifndef KESU_TOOL_HEARING_H_
#define KESU_TOOL_HEARING_H_

#include <vector>

#include "client/error.h"
#include "here/here.h"

#include "tools/kesu/arguments.h"

/// What the device hears, as the subject of lookups.
namespace kesu_tool {

bool IsEmpty(const kesu::Observation& observation);

/// Prints them to standard error, where what happens inside is to be printed.
void TraceMissing(const Arguments& arguments, const std::vector<kesu::here::Missing>& missing);

/// What becomes of a lookup for which nothing is heard.
kesu::Error UnheardError(const std::vector<kesu::here::Missing>& missing);

}  // namespace kesu_tool

#endif  // KESU_TOOL_HEARING_H_

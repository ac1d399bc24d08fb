#ifndef KESU_TOOL_INPUT_LINE_H_
#define KESU_TOOL_INPUT_LINE_H_

#include <optional>
#include <string>
#include <string_view>

#include "client/observation.h"
#include "client/place.h"

/// What a line of standard input asks. One that asks nothing sensible yields nothing, and `error`
/// says what is wrong with it.
namespace kesu_tool {

/// "LAT,LON", or a JSON object with "latitude" and "longitude"; its other members do not count, so
/// that what locate prints can be asked about.
std::optional<kesu::Point> ParsePointLine(std::string_view line, std::string* error);

/// A JSON object with members named like those of kesu::Observation; ages end in "_ms". One that
/// it does not know is a fault: it may be misspelt.
std::optional<kesu::Observation> ParseObservationLine(std::string_view line, std::string* error);

}  // namespace kesu_tool

#endif  // KESU_TOOL_INPUT_LINE_H_

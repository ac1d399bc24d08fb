#ifndef KESU_TOOL_MAP_JSON_H_
#define KESU_TOOL_MAP_JSON_H_

#include <string>

#include "client/client.h"

/// What the map of --map shows of one answer, as web/map/facts.js takes it: JSON on one line,
/// without a "<", whatever the server sent.
namespace kesu_tool {

/// `title` tells it from the others.
std::string LocationMap(const std::string& title, const kesu::Observation& seen,
                        const kesu::LocateResult& result);
std::string PlaceMap(const std::string& title, const kesu::Point& point,
                     const kesu::ReverseResult& result);
/// Of a question that could not be asked.
std::string FailureMap(const std::string& title, const kesu::Error& error);

}  // namespace kesu_tool

#endif  // KESU_TOOL_MAP_JSON_H_

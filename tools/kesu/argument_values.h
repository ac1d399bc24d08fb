#ifndef KESU_TOOL_ARGUMENT_VALUES_H_
#define KESU_TOOL_ARGUMENT_VALUES_H_

#include <optional>
#include <string>
#include <string_view>

#include "client/observation.h"
#include "client/place.h"

/// Words of the command line and the values they stand for. A word that stands for none yields
/// nothing, and `error` says what is wrong with it.
namespace kesu_tool {

/// "MCC,MNC,AREA,CELL" or "MCC,MNC,AREA,CELL,DBM"
std::optional<kesu::Cell> ParseCell(std::string_view word, std::string* error);

/// "MAC" or "MAC,DBM". The pairs of a MAC are separated by colons or dashes, in any case.
std::optional<kesu::AccessPoint> ParseAccessPoint(std::string_view word, std::string* error);

/// A MAC address with colons or dashes, in the form with dashes.
std::optional<std::string> ParseMac(std::string_view text);

/// "LAT,LON", with spaces around the numbers where wanted.
std::optional<kesu::Point> ParsePoint(std::string_view word, std::string* error);

/// "LAT,LON" or "LAT,LON,METRES", the accuracy.
std::optional<kesu::Fix> ParseFix(std::string_view word, std::string* error);

/// "SECONDS", with a fraction where wanted. Yields milliseconds, at least one.
std::optional<int> ParseTimeout(std::string_view word, std::string* error);

/// "http://PROXY:PORT", or one of libcurl's other schemes of proxies.
std::optional<std::string> ParseProxy(const std::string& word, std::string* error);

/// "http://HOST:PORT" or with https. Yields it without a slash at the end.
std::optional<std::string> ParseServer(const std::string& word, std::string* error);

}  // namespace kesu_tool

#endif  // KESU_TOOL_ARGUMENT_VALUES_H_

#ifndef KESU_TOOL_INFLATION_H_
#define KESU_TOOL_INFLATION_H_

#include <cstddef>
#include <string>

namespace kesu_tool {

/// Replaces bytes that are deflated (zlib or gzip, RFC 1950 and 1952) by what they were, at most so
/// many. False, with as much as can be had, where that is not all.
bool Inflate(std::size_t most_bytes, std::string* bytes);

}  // namespace kesu_tool

#endif  // KESU_TOOL_INFLATION_H_

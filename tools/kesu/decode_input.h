#ifndef KESU_TOOL_DECODE_INPUT_H_
#define KESU_TOOL_DECODE_INPUT_H_

#include <cstdio>
#include <functional>
#include <string>

#include "decode/tree.h"

namespace kesu_tool {

enum class DecodeOutcome {
  kShown,
  /// A capture without an HTTP message.
  kNothingFound,
  /// The input cannot be read, or is more than is taken.
  kUnreadable,
};

/// Takes what is wrong with what is shown: "message 2", or empty for a body, and the fault there.
using OnDecodeFault =
    std::function<void(const std::string& where, const kesu_decode::Fault& fault)>;

/// Shows what is in `in`: a body, HTTP messages as they went over a connection, or a capture of
/// packets, as the first bytes tell. Of kUnreadable, `error` says why.
DecodeOutcome DecodeInput(std::FILE* in, kesu_decode::TreeWriter* writer,
                          const OnDecodeFault& on_fault, std::string* error);

}  // namespace kesu_tool

#endif  // KESU_TOOL_DECODE_INPUT_H_

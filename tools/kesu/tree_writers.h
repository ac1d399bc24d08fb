#ifndef KESU_TOOL_TREE_WRITERS_H_
#define KESU_TOOL_TREE_WRITERS_H_

#include <cstdio>
#include <memory>

#include "decode/tree.h"
#include "tools/kesu/arguments.h"

namespace kesu_tool {

/// One that writes to `out`, which is borrowed.
std::unique_ptr<kesu_decode::TreeWriter> NewTreeWriter(Format format, std::FILE* out);

}  // namespace kesu_tool

#endif  // KESU_TOOL_TREE_WRITERS_H_

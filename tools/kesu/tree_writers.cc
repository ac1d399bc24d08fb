#include "tools/kesu/tree_writers.h"

#include "tools/kesu/json_tree_writer.h"
#include "tools/kesu/text_tree_writer.h"

namespace kesu_tool {

std::unique_ptr<kesu_decode::TreeWriter> NewTreeWriter(Format format, std::FILE* out) {
  if (format == Format::kJson) return std::make_unique<JsonTreeWriter>(out);
  return std::make_unique<TextTreeWriter>(out);
}

}  // namespace kesu_tool

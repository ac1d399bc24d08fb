#ifndef KESU_TOOL_TEXT_TREE_WRITER_H_
#define KESU_TOOL_TEXT_TREE_WRITER_H_

#include <cstdio>
#include <string>

#include "tools/kesu/tree.h"

namespace kesu_tool {

/// One line per node: its offset, and indented by its depth what it is. Raw bytes follow in lines
/// of their own. Nothing in the bytes can control the terminal.
class TextTreeWriter final : public TreeWriter {
 public:
  /// `out` is borrowed.
  explicit TextTreeWriter(std::FILE* out) : out_(out) {}

  void Open(const Node& node) override;
  void Close() override { --depth_; }
  void OpenList(const char*) override {}
  void CloseList() override {}
  void Leaf(const Node& node) override { Open(node), Close(); }
  /// The reason is left to standard error.
  void Stop(const Fault&) override {}

 private:
  /// Empties line_ but for the offset and the indentation.
  void BeginLine(std::size_t offset);
  void EndLine();
  void WriteRawBytes(const RawBytes& raw);

  std::FILE* out_;
  std::size_t depth_ = 0;
  std::string line_;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_TEXT_TREE_WRITER_H_

#ifndef KESU_TOOL_TEXT_TREE_WRITER_H_
#define KESU_TOOL_TEXT_TREE_WRITER_H_

#include <cstdio>
#include <string>

#include "decode/tree.h"

namespace kesu_tool {

/// One line per node: its offset, and indented by its depth what it is. Raw bytes follow in lines
/// of their own. Nothing in the bytes can control the terminal.
class TextTreeWriter final : public kesu_decode::TreeWriter {
 public:
  /// `out` is borrowed.
  explicit TextTreeWriter(std::FILE* out) : out_(out) {}

  void Open(const kesu_decode::Node& node) override;
  void Close(std::size_t) override { --depth_; }
  void OpenList(const char*) override {}
  void CloseList() override {}
  void Leaf(const kesu_decode::Node& node, std::size_t end) override { Open(node), Close(end); }
  /// The reason is left to standard error.
  void Stop(const kesu_decode::Fault&) override {}

 private:
  /// Empties line_ but for the offset and the indentation.
  void BeginLine(std::size_t offset);
  void EndLine();
  void WriteRawBytes(const kesu_decode::RawBytes& raw);

  std::FILE* out_;
  std::size_t depth_ = 0;
  std::string line_;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_TEXT_TREE_WRITER_H_

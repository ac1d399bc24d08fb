#ifndef KESU_TOOL_JSON_TREE_WRITER_H_
#define KESU_TOOL_JSON_TREE_WRITER_H_

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "decode/tree.h"

namespace kesu_tool {

/// One JSON object on one line, written as its parts come. An element of a list is an object; a
/// node inside another is a member of it, named like the node with underscores: the value alone
/// where there is no more to say than that. The outermost node ends the line.
class JsonTreeWriter final : public kesu_decode::TreeWriter {
 public:
  /// `out` is borrowed.
  explicit JsonTreeWriter(std::FILE* out) : out_(out) {}

  void Open(const kesu_decode::Node& node) override { BeginObject(node); }
  void Close(std::size_t) override { EndObject(); }
  void OpenList(const char* name) override;
  void CloseList() override;
  void Leaf(const kesu_decode::Node& node, std::size_t end) override;
  void Stop(const kesu_decode::Fault& fault) override;

 private:
  void Write(std::string_view text) { pending_ += text; }
  /// The comma between two members or elements, and the name of a member.
  void BeginMember(std::string_view name);
  void Member(std::string_view name, long long value);
  /// `value` is written as it is, between quotes.
  void Member(std::string_view name, const char* value);
  void BeginNode(const kesu_decode::Node& node);
  void BeginObject(const kesu_decode::Node& node);
  void WriteValue(const kesu_decode::Node& node);
  void WriteHex(const common_base::ByteView& bytes);
  void EndObject();

  std::FILE* out_;
  /// Not yet handed to `out_`.
  std::string pending_;
  bool is_first_ = true;
  /// For each object and list that is open, outermost first, and for what is around them: is a
  /// node there an element, and not a member?
  std::vector<bool> in_list_ = {true};
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_JSON_TREE_WRITER_H_

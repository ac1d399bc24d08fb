#ifndef DECODE_TREE_H_
#define DECODE_TREE_H_

#include <cstddef>
#include <optional>
#include <string>
#include <variant>

#include "kesu/common/base/vector.h"

/// What decoding makes of a body: nodes in the order of their bytes, handed to a writer one by one,
/// so that memory does not grow with their number.
namespace kesu_decode {

/// Where bytes make no sense, and why.
struct Fault {
  std::size_t offset = 0;
  std::string reason;
};

/// Bytes that are UTF-8, or ought to be.
struct TextBytes {
  common_base::ByteView bytes;
};

/// Bytes that nothing is known of, to be shown as hexadecimal digits. `offset` is that of the
/// first.
struct RawBytes {
  common_base::ByteView bytes;
  std::size_t offset = 0;
};

struct Node {
  /// Where its first byte stands: in the body, or in the decoded payload that encloses it.
  std::size_t offset = 0;
  /// In words. Null for a field that its message does not know.
  const char* name = nullptr;
  /// Of a field.
  std::optional<unsigned> field_number{};
  /// Of a field that is unknown, or that came with another wire type than it is declared with.
  std::optional<unsigned> wire_type{};
  std::optional<unsigned> block_type{};
  /// In bytes, as the body says it.
  std::optional<long long> length{};
  /// In bytes, of a payload that came encoded.
  std::optional<long long> decoded_length{};
  /// The class of the message whose fields follow, or null.
  const char* message = nullptr;
  std::variant<std::monostate, long long, bool, TextBytes, RawBytes> value{};
  std::string remark{};

  /// Where a payload that came encoded ends; that of any other node is known from what is inside.
  std::optional<std::size_t> end_of_encoded() const {
    if (!decoded_length || !length) return std::nullopt;
    return offset + static_cast<std::size_t>(*length);
  }
};

/// For what is not taken from one run of bytes.
inline constexpr std::size_t kUnknownEnd = 0;

/// The views in the nodes need not outlive the call that hands them over.
class TreeWriter {
 public:
  TreeWriter() = default;
  TreeWriter(const TreeWriter&) = delete;
  TreeWriter& operator=(const TreeWriter&) = delete;
  virtual ~TreeWriter() = default;

  /// The following nodes are inside this one, up to the Close() that belongs to it.
  virtual void Open(const Node& node) = 0;
  /// `end` is one past the last byte of the node that is closed, counted like its offset, or
  /// kUnknownEnd.
  virtual void Close(std::size_t end) = 0;
  /// The following nodes are elements of a list of the node that is open, up to CloseList().
  virtual void OpenList(const char* name) = 0;
  virtual void CloseList() = 0;
  /// A node with nothing inside it, and where it ends.
  virtual void Leaf(const Node& node, std::size_t end) = 0;
  /// Why nothing more is coming; belongs to the node that is open.
  virtual void Stop(const Fault& fault) = 0;
};

}  // namespace kesu_decode

#endif  // DECODE_TREE_H_

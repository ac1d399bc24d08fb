#include "server/inspect/body_json.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

#include "decode/body_decoder.h"
#include "decode/tree.h"
#include "server/inspect/json_text.h"

namespace kesu_server {
namespace {

using common_base::ByteView;
using kesu_decode::Fault;
using kesu_decode::Node;

/// Nobody reads more than these, in what a page can show.
constexpr std::size_t kMostNodes = 20'000;
/// Of one text, or of so many bytes in hexadecimal.
constexpr std::size_t kLongestValue = 1024;

std::string Hex(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(2 * bytes.size());
  for (const char byte : bytes) {
    hex += kDigits[static_cast<unsigned char>(byte) >> 4];
    hex += kDigits[static_cast<unsigned char>(byte) & 0xF];
  }
  return hex;
}

std::string_view ViewOf(const ByteView& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(bytes.length())};
}

/// In JSON.
std::string ValueOf(const Node& node) {
  if (const auto* number = std::get_if<long long>(&node.value)) {
    return JsonText(std::to_string(*number));
  }
  if (const auto* flag = std::get_if<bool>(&node.value)) return JsonText(*flag ? "true" : "false");
  if (const auto* text = std::get_if<kesu_decode::TextBytes>(&node.value)) {
    return JsonText(Shortened(ViewOf(text->bytes), kLongestValue));
  }
  if (const auto* raw = std::get_if<kesu_decode::RawBytes>(&node.value)) {
    const std::string hex = Hex(ViewOf(raw->bytes).substr(0, kLongestValue));
    return JsonText(ViewOf(raw->bytes).size() > kLongestValue ? hex + "..." : hex);
  }
  return "null";
}

std::string NameOf(const Node& node) {
  if (node.name != nullptr) return node.name;
  return "field " + std::to_string(node.field_number.value_or(0));
}

/// What a person wants to know besides.
std::string NoteOf(const Node& node) {
  std::string note = node.remark;
  const auto add = [&note](const std::string& text) {
    if (!note.empty()) note += "; ";
    note += text;
  };
  if (node.wire_type) add("wire type " + std::to_string(*node.wire_type));
  if (node.decoded_length) add("decoded to " + std::to_string(*node.decoded_length) + " bytes");
  return note;
}

struct Range {
  std::size_t from = 0;
  std::size_t to = 0;
};

/// The list of the nodes inside the outermost one, of which nothing is said.
class NodeList final : public kesu_decode::TreeWriter {
 public:
  void Open(const Node& node) override {
    ++depth_;
    if (depth_ == 1) return;
    if (!Begin(node)) return;
    text_ += ",\"children\":[";
    needs_comma_ = false;
    shown_depth_ = depth_;
    if (node.decoded_length) {
      encoded_depth_ = depth_;
      encoded_ = {node.offset, node.end_of_encoded().value_or(node.offset)};
    }
  }
  void Close(std::size_t end) override {
    const std::size_t depth = depth_--;
    if (depth == 1 || depth > shown_depth_) return;
    if (encoded_depth_ == depth) encoded_depth_ = 0;
    text_ += "]";
    End(end);
    shown_depth_ = depth_;
  }
  void Leaf(const Node& node, std::size_t end) override {
    if (!Begin(node)) return;
    text_ += ",\"children\":[]";
    End(end);
  }
  void OpenList(const char*) override {}
  void CloseList() override {}
  void Stop(const Fault&) override {}

  bool is_cut() const { return is_cut_; }
  std::string Take() { return std::move(text_); }

 private:
  /// False when there is no room for another one.
  bool Begin(const Node& node) {
    is_cut_ = is_cut_ || nodes_ == kMostNodes;
    if (is_cut_) return false;
    ++nodes_;
    if (needs_comma_) text_ += ",";
    needs_comma_ = true;
    text_ += "{\"name\":" + JsonText(NameOf(node));
    if (node.field_number) text_ += ",\"number\":" + std::to_string(*node.field_number);
    if (node.message != nullptr) text_ += ",\"message\":" + JsonText(node.message);
    text_ += ",\"value\":" + ValueOf(node);
    if (const std::string note = NoteOf(node); !note.empty()) {
      text_ += ",\"note\":" + JsonText(note);
    }
    text_ += ",\"from\":" + std::to_string(encoded_depth_ != 0 ? encoded_.from : node.offset);
    return true;
  }
  void End(std::size_t end) {
    text_ += ",\"to\":" + std::to_string(encoded_depth_ != 0 ? encoded_.to : end) + "}";
    needs_comma_ = true;
  }

  std::string text_;
  std::size_t nodes_ = 0;
  /// How many nodes are open, and how many of them are in the list, the outermost counting too.
  std::size_t depth_ = 0;
  std::size_t shown_depth_ = 1;
  bool needs_comma_ = false;
  bool is_cut_ = false;
  /// That of the open node whose inside came encoded, or 0, and its range.
  std::size_t encoded_depth_ = 0;
  Range encoded_;
};

/// What is not in the protocol's form is a text, if anything.
std::string TextTree(const KeptBody& body) {
  if (body.bytes.empty()) return {};
  return "{\"name\":\"text\",\"value\":" + JsonText(Shortened(body.bytes, kLongestValue)) +
         ",\"from\":0,\"to\":" + std::to_string(body.bytes.size()) + ",\"children\":[]}";
}

std::string ErrorOf(const KeptBody& body, const std::optional<Fault>& fault, bool is_cut) {
  if (!body.is_whole()) {
    return "only the first " + std::to_string(body.bytes.size()) + " of " +
           std::to_string(body.length) + " bytes are kept";
  }
  if (fault) return "at byte " + std::to_string(fault->offset) + ": " + fault->reason;
  if (is_cut) return "only the first " + std::to_string(kMostNodes) + " fields are shown";
  return {};
}

}  // namespace

std::string BodyJson(const KeptBody& body, bool is_post) {
  NodeList nodes;
  std::optional<Fault> fault;
  // Faults on demand change the type of a reply, but not its form.
  const bool is_text = !is_post && body.media_type == "text/plain";
  if (!is_text && !body.bytes.empty()) {
    const ByteView view(common_base::kReferenceExistingBuffer,
                        reinterpret_cast<const unsigned char*>(body.bytes.data()),
                        static_cast<int>(body.bytes.size()));
    fault = kesu_decode::BodyDecoder(&nodes).Decode(view, {}, is_post);
  }
  const std::string error = ErrorOf(body, fault, nodes.is_cut());
  return "{\"hex\":\"" + Hex(body.bytes) + "\",\"tree\":[" +
         (is_text ? TextTree(body) : nodes.Take()) +
         "],\"error\":" + (error.empty() ? "null" : JsonText(error)) + "}";
}

}  // namespace kesu_server

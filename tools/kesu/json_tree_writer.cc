#include "tools/kesu/json_tree_writer.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace kesu_tool {
namespace {

using kesu_decode::Fault;
using kesu_decode::Node;
using kesu_decode::RawBytes;
using kesu_decode::TextBytes;
using nlohmann::json;

constexpr std::size_t kBytesPerWrite = std::size_t{1} << 16;

/// In quotes; what is no UTF-8 is replaced.
std::string Quoted(std::string_view text) {
  return json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string_view ViewOf(const common_base::ByteView& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(bytes.length())};
}

std::string MemberName(std::string_view words) {
  std::string name(words);
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
}

bool IsValueAlone(const Node& node) {
  return node.value.index() != 0 && !node.length;
}

}  // namespace

void JsonTreeWriter::BeginMember(std::string_view name) {
  if (!is_first_) Write(",");
  is_first_ = false;
  Write("\"");
  Write(name);
  Write("\":");
}

void JsonTreeWriter::Member(std::string_view name, long long value) {
  BeginMember(name);
  Write(std::to_string(value));
}

void JsonTreeWriter::Member(std::string_view name, const char* value) {
  BeginMember(name);
  Write("\"");
  Write(value);
  Write("\"");
}

void JsonTreeWriter::BeginNode(const Node& node) {
  if (!in_list_.back()) return BeginMember(MemberName(node.name));
  if (!is_first_) Write(",");
  is_first_ = false;
}

void JsonTreeWriter::BeginObject(const Node& node) {
  const bool is_element = in_list_.back();
  BeginNode(node);
  Write("{");
  is_first_ = true;
  in_list_.push_back(false);
  Member("offset", static_cast<long long>(node.offset));
  if (node.field_number) Member("number", *node.field_number);
  if (is_element && node.name != nullptr) Member("name", node.name);
  if (node.block_type) Member("type", *node.block_type);
  if (node.wire_type) Member("wire_type", *node.wire_type);
  if (node.length) Member("length", *node.length);
  if (node.decoded_length) Member("decoded_length", *node.decoded_length);
  if (node.message != nullptr) Member("message", node.message);
  if (!node.remark.empty()) {
    BeginMember("remark");
    Write(Quoted(node.remark));
  }
  if (node.value.index() == 0) return;
  BeginMember(std::holds_alternative<RawBytes>(node.value) ? "hex" : "value");
  WriteValue(node);
}

void JsonTreeWriter::EndObject() {
  Write("}");
  is_first_ = false;
  in_list_.pop_back();
  const bool is_end = in_list_.size() == 1;
  if (is_end) {
    Write("\n");
    is_first_ = true;
  }
  if (!is_end && pending_.size() < kBytesPerWrite) return;
  std::fwrite(pending_.data(), 1, pending_.size(), out_);
  pending_.clear();
}

void JsonTreeWriter::WriteValue(const Node& node) {
  if (const auto* number = std::get_if<long long>(&node.value)) {
    Write(std::to_string(*number));
  } else if (const auto* flag = std::get_if<bool>(&node.value)) {
    Write(*flag ? "true" : "false");
  } else if (const auto* text = std::get_if<TextBytes>(&node.value)) {
    Write(Quoted(ViewOf(text->bytes)));
  } else if (const auto* raw = std::get_if<RawBytes>(&node.value)) {
    WriteHex(raw->bytes);
  }
}

void JsonTreeWriter::WriteHex(const common_base::ByteView& bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  Write("\"");
  for (const unsigned char byte : bytes) {
    const char pair[] = {kDigits[byte >> 4], kDigits[byte & 0xF]};
    Write({pair, sizeof pair});
  }
  Write("\"");
}

void JsonTreeWriter::OpenList(const char* name) {
  BeginMember(name);
  Write("[");
  is_first_ = true;
  in_list_.push_back(true);
}

void JsonTreeWriter::CloseList() {
  Write("]");
  is_first_ = false;
  in_list_.pop_back();
}

void JsonTreeWriter::Leaf(const Node& node, std::size_t) {
  if (!in_list_.back() && IsValueAlone(node)) {
    BeginNode(node);
    WriteValue(node);
    return;
  }
  BeginObject(node);
  EndObject();
}

void JsonTreeWriter::Stop(const Fault& fault) {
  BeginMember("error");
  Write("{");
  is_first_ = true;
  Member("offset", static_cast<long long>(fault.offset));
  BeginMember("message");
  Write(Quoted(fault.reason));
  Write("}");
}

}  // namespace kesu_tool

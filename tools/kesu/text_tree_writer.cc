#include "tools/kesu/text_tree_writer.h"

#include <algorithm>

#include <glib.h>

namespace kesu_tool {
namespace {

using kesu_decode::Node;
using kesu_decode::RawBytes;
using kesu_decode::TextBytes;

constexpr std::size_t kIndentation = 2;
constexpr int kRawBytesPerLine = 16;

/// Appends what a printf format makes of one number.
template <typename Number>
void AppendNumber(const char* format, Number number, std::string* line) {
  char text[32];
  std::snprintf(text, sizeof text, format, number);
  *line += text;
}

/// In quotes; what does not print is escaped, what is no UTF-8 is replaced.
void AppendQuoted(const common_base::ByteView& bytes, std::string* line) {
  if (bytes.IsEmpty()) {
    *line += "\"\"";
    return;
  }
  char* const valid =
      g_utf8_make_valid(reinterpret_cast<const char*>(bytes.data()), gssize{bytes.length()});
  *line += '"';
  for (const char* position = valid; *position != 0;) {
    const char* const next = g_utf8_next_char(position);
    const gunichar character = g_utf8_get_char(position);
    if (!g_unichar_isprint(character)) {
      AppendNumber("\\u{%X}", character, line);
    } else {
      if (character == '"' || character == '\\') *line += '\\';
      line->append(position, next);
    }
    position = next;
  }
  *line += '"';
  g_free(valid);
}

void AppendHeading(const Node& node, std::string* line) {
  if (node.field_number) AppendNumber("%u ", *node.field_number, line);
  *line += node.name != nullptr ? node.name : "unknown";
  if (node.block_type) AppendNumber(", type 0x%04X", *node.block_type, line);
  if (node.wire_type) AppendNumber(", wire type %u", *node.wire_type, line);
  if (node.length) AppendNumber(", %lld bytes", *node.length, line);
  if (node.decoded_length) AppendNumber(", decoded to %lld bytes", *node.decoded_length, line);
}

void AppendValue(const Node& node, std::string* line) {
  if (const auto* number = std::get_if<long long>(&node.value)) {
    AppendNumber(": %lld", *number, line);
  } else if (const auto* flag = std::get_if<bool>(&node.value)) {
    *line += *flag ? ": true" : ": false";
  } else if (const auto* text = std::get_if<TextBytes>(&node.value)) {
    *line += ": ";
    AppendQuoted(text->bytes, line);
  } else if (node.message != nullptr) {
    *line += ": ";
    *line += node.message;
  }
}

}  // namespace

void TextTreeWriter::BeginLine(std::size_t offset) {
  line_.clear();
  AppendNumber("%8zu  ", offset, &line_);
  line_.append(depth_ * kIndentation, ' ');
}

void TextTreeWriter::EndLine() {
  line_ += '\n';
  std::fwrite(line_.data(), 1, line_.size(), out_);
}

void TextTreeWriter::Open(const Node& node) {
  BeginLine(node.offset);
  AppendHeading(node, &line_);
  AppendValue(node, &line_);
  if (!node.remark.empty()) line_ += " (" + node.remark + ")";
  EndLine();
  ++depth_;
  if (const auto* raw = std::get_if<RawBytes>(&node.value)) WriteRawBytes(*raw);
}

void TextTreeWriter::WriteRawBytes(const RawBytes& raw) {
  const int length = raw.bytes.length();
  for (int begin = 0; begin < length; begin += kRawBytesPerLine) {
    const int count = std::min(kRawBytesPerLine, length - begin);
    BeginLine(raw.offset + static_cast<std::size_t>(begin));
    for (int i = 0; i < count; ++i) {
      AppendNumber(i == 0 ? "%02X" : " %02X", unsigned{raw.bytes[begin + i]}, &line_);
    }
    EndLine();
  }
}

}  // namespace kesu_tool

#include "kesu/mux/header_field_iterator.h"

#include <algorithm>
#include <string_view>

using common_base::ByteView;
using common_base::GVector;

namespace {

constexpr std::string_view kLineEnd = "\r\n";

/// The first CR LF in [begin, end), or `end`.
const unsigned char* FindLineEnd(const unsigned char* begin, const unsigned char* end) {
  return std::search(begin, end, kLineEnd.begin(), kLineEnd.end());
}

bool IsWhiteSpace(unsigned char byte) {
  return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

void Assign(const unsigned char* begin, const unsigned char* end, GVector<unsigned char>* out) {
  out->Clear();
  out->AppendAll(
      ByteView(common_base::kReferenceExistingBuffer, begin, static_cast<int>(end - begin)));
}

}  // namespace

HeaderFieldIterator::HeaderFieldIterator(const common_base::GVectorRef<const unsigned char>& text)
    : buffer_(text), line_start_(buffer_.begin()), cursor_(buffer_.begin()) {
  HeaderFieldIterator::Reset();
}

void HeaderFieldIterator::Reset() {
  line_start_ = buffer_.begin();
  cursor_ = buffer_.begin();
  FindEndOfLine();
  ReadLine();
}

void HeaderFieldIterator::Next() {
  line_start_ = cursor_;
  if (AtEnd()) return;
  FindEndOfLine();
  ReadLine();
}

bool HeaderFieldIterator::AtEnd() const {
  return line_start_ == buffer_.end();
}

void HeaderFieldIterator::FindEndOfLine() {
  const unsigned char* line_end = FindLineEnd(cursor_, buffer_.end());
  cursor_ = line_end == buffer_.end() ? line_end : line_end + kLineEnd.size();
}

void HeaderFieldIterator::ReadLine() {
  const unsigned char* colon = std::find(line_start_, cursor_, ':');
  const bool is_blank = std::equal(line_start_, cursor_, kLineEnd.begin(), kLineEnd.end());
  Assign(line_start_, is_blank ? line_start_ : colon, &field_name_);
  const unsigned char* value = colon == cursor_ ? cursor_ : colon + 1;
  value = std::find_if_not(value, cursor_, IsWhiteSpace);
  Assign(value, FindLineEnd(value, cursor_), &field_value_);
}

#ifndef KESU_MUX_HEADER_FIELD_ITERATOR_H_
#define KESU_MUX_HEADER_FIELD_ITERATOR_H_

#include "kesu/mux/header_field_iterator_interface.h"

/// Walks raw HTTP header text (RFC 9112, section 5) as the transport received it: lines end with
/// CR LF, a lone CR or LF is part of a line. Names are neither trimmed nor case-folded, values lose
/// the white space in front but not behind. A line without a colon is all name, its CR LF included;
/// the blank line that ends a header block is a field with an empty name and value. Folded lines
/// are not joined: each is a field of its own.
class HeaderFieldIterator : public HeaderFieldIteratorInterface {
 public:
  /// `text` is borrowed and must stay as it is for the life of the iterator.
  explicit HeaderFieldIterator(const common_base::GVectorRef<const unsigned char>& text);
  HeaderFieldIterator(const HeaderFieldIterator&) = delete;
  HeaderFieldIterator& operator=(const HeaderFieldIterator&) = delete;

  void Next() override;
  void Reset() override;
  bool AtEnd() const override;
  const common_base::GVector<unsigned char>& FieldName() const override { return field_name_; }
  const common_base::GVector<unsigned char>& FieldValue() const override { return field_value_; }

 private:
  void FindEndOfLine();
  void ReadLine();

  common_base::GVectorRef<const unsigned char> buffer_;
  const unsigned char* line_start_;
  /// Just past the CR LF of the current line, or the end of the buffer.
  const unsigned char* cursor_;
  common_base::GVector<unsigned char> field_name_;
  common_base::GVector<unsigned char> field_value_;
};

#endif  // KESU_MUX_HEADER_FIELD_ITERATOR_H_

#ifndef KESU_MUX_GSTRING_HEADER_FIELD_ITERATOR_H_
#define KESU_MUX_GSTRING_HEADER_FIELD_ITERATOR_H_

#include "kesu/common/base/gstring.h"
#include "kesu/mux/header_field_iterator_interface.h"

/// Walks a list of header names and the list of their values, which must be as long.
class GStringHeaderFieldIterator final : public HeaderFieldIteratorInterface {
 public:
  /// The lists are borrowed and must stay as they are for the life of the iterator.
  GStringHeaderFieldIterator(const common_base::GVectorRef<const common_base::GString>& names,
                             const common_base::GVectorRef<const common_base::GString>& values);
  GStringHeaderFieldIterator(const GStringHeaderFieldIterator&) = delete;
  GStringHeaderFieldIterator& operator=(const GStringHeaderFieldIterator&) = delete;

  void Next() override;
  /// Goes back to the first field. The name and value stay those of the field last read until the
  /// next Next(), deliberately.
  void Reset() override;
  bool AtEnd() const override;
  const common_base::GVector<unsigned char>& FieldName() const override { return field_name_; }
  const common_base::GVector<unsigned char>& FieldValue() const override { return field_value_; }

 private:
  void ReadField();

  common_base::GVectorRef<const common_base::GString> names_;
  common_base::GVectorRef<const common_base::GString> values_;
  const common_base::GString* name_;
  const common_base::GString* value_;
  common_base::GVector<unsigned char> field_name_;
  common_base::GVector<unsigned char> field_value_;
};

#endif  // KESU_MUX_GSTRING_HEADER_FIELD_ITERATOR_H_

#include "kesu/mux/gstring_header_field_iterator.h"

using common_base::GString;
using common_base::GVectorRef;

GStringHeaderFieldIterator::GStringHeaderFieldIterator(const GVectorRef<const GString>& names,
                                                       const GVectorRef<const GString>& values)
    : names_(names), values_(values), name_(names_.begin()), value_(values_.begin()) {
  ReadField();
}

void GStringHeaderFieldIterator::Next() {
  if (AtEnd()) return;
  ++name_;
  ++value_;
  ReadField();
}

void GStringHeaderFieldIterator::Reset() {
  name_ = names_.begin();
  value_ = values_.begin();
}

bool GStringHeaderFieldIterator::AtEnd() const {
  return name_ == names_.end();
}

void GStringHeaderFieldIterator::ReadField() {
  if (AtEnd()) return;
  (*name_)->ToUtf8Vector(&field_name_);
  (*value_)->ToUtf8Vector(&field_value_);
}

#ifndef KESU_MUX_HEADER_FIELD_ITERATOR_INTERFACE_H_
#define KESU_MUX_HEADER_FIELD_ITERATOR_INTERFACE_H_

#include "kesu/common/base/memory.h"
#include "kesu/common/base/vector.h"

/// Walks HTTP header fields; the first is current at once, unless AtEnd().
class HeaderFieldIteratorInterface : public common_base::HeapObject {
 public:
  virtual ~HeaderFieldIteratorInterface() = default;
  virtual void Next() = 0;
  virtual void Reset() = 0;
  virtual bool AtEnd() const = 0;
  /// The current name and value in UTF-8 without a terminator, valid until the next Next() or
  /// Reset().
  virtual const common_base::GVector<unsigned char>& FieldName() const = 0;
  virtual const common_base::GVector<unsigned char>& FieldValue() const = 0;
};

#endif  // KESU_MUX_HEADER_FIELD_ITERATOR_INTERFACE_H_

#ifndef KESU_MUX_PROTOCOL_READER_H_
#define KESU_MUX_PROTOCOL_READER_H_

#include "kesu/common/base/data_input_stream.h"
#include "kesu/mux/non_multipart_response.h"

#pragma GCC visibility push(hidden)
namespace common_kesu {

inline constexpr short kProtocolVersion = 1;

/// Splits the body of a reply into responses.
class ProtocolReader {
 public:
  /// `in` is borrowed.
  explicit ProtocolReader(common_base::DataInputStream* in) : in_(in) {}

  /// Reads the protocol version; `*ok` is false unless it is kProtocolVersion.
  void InitializeInput(bool* ok);
  void AssertIsInitialized(bool* ok) const;
  /// What InitializeInput() read.
  short version() const { return version_; }

  /// The next response, owned by the caller, who deletes it before the bytes of the reply. Null
  /// with `*ok` true: a block of an unknown type was skipped. Null with `*ok` false: the reply has
  /// ended, or its next block is malformed.
  Response* ReadResponse(bool* ok);
  /// The same into `response`, which is new; false where the other yields null.
  bool ReadResponseInto(NonMultipartResponse* response, bool* ok);

 private:
  common_base::DataInputStream* in_;
  short version_ = 0;
  bool is_initialized_ = false;
};

}  // namespace common_kesu
#pragma GCC visibility pop

#endif  // KESU_MUX_PROTOCOL_READER_H_

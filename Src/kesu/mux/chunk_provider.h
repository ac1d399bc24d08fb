#ifndef KESU_MUX_CHUNK_PROVIDER_H_
#define KESU_MUX_CHUNK_PROVIDER_H_

#include "kesu/common/base/data_output_stream.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/base/vector.h"

namespace common_kesu {

/// Bytes that are read in pieces.
class ChunkProviderInterface : public common_base::HeapObject {
 public:
  /// Up to `length` bytes from `offset`, fewer at the end. The result may be a view of the
  /// provider's own bytes, valid until its next operation, and must not be resized.
  virtual common_base::GVector<unsigned char> ReadByteChunk(int offset, int length) = 0;
  virtual ~ChunkProviderInterface() = default;
  virtual int GetTotalDataLength() const = 0;
  /// A new provider of the same bytes, owned by the caller.
  virtual ChunkProviderInterface* Clone() const = 0;

  /// Writes all bytes, 4096 at a time.
  void WriteToStream(common_base::DataOutputStream* out);
};

/// Provides bytes that live elsewhere and must outlive it and its clones.
class BufferChunkProvider : public ChunkProviderInterface {
 public:
  explicit BufferChunkProvider(const common_base::GVectorRef<const unsigned char>& bytes)
      : bytes_(bytes) {}

  common_base::GVector<unsigned char> ReadByteChunk(int offset, int length) override;
  int GetTotalDataLength() const override { return bytes_.length(); }
  ChunkProviderInterface* Clone() const override { return new BufferChunkProvider(bytes_); }

 private:
  common_base::GVectorRef<const unsigned char> bytes_;
};

/// Provides the bytes of several providers, one after the other. Reading chunk after chunk goes on
/// where the last one ended; the providers must not change their lengths meanwhile.
class ChunkProviderList : public ChunkProviderInterface {
 public:
  ChunkProviderList() = default;
  ChunkProviderList(const ChunkProviderList&) = delete;
  ChunkProviderList& operator=(const ChunkProviderList&) = delete;

  /// Becomes the owner of `provider`.
  void Append(ChunkProviderInterface* provider);
  void AppendClonesOf(const ChunkProviderList& other);
  /// Destroys the providers.
  void Clear() {
    providers_.Clear();
    reached_ = reached_start_ = 0;
  }
  bool IsEmpty() const { return providers_.IsEmpty(); }

  common_base::GVector<unsigned char> ReadByteChunk(int offset, int length) override;
  int GetTotalDataLength() const override;
  ChunkProviderInterface* Clone() const override;

 private:
  void CopyBytesFor(int offset, int length);

  common_base::GVector<common_base::ScopedPtr<ChunkProviderInterface>> providers_;
  common_base::GVector<unsigned char> copy_;
  /// The provider that reading has reached, and where its bytes begin.
  int reached_ = 0;
  int reached_start_ = 0;
};

}  // namespace common_kesu

#endif  // KESU_MUX_CHUNK_PROVIDER_H_

#include "kesu/mux/chunk_provider.h"

#include <algorithm>

namespace common_kesu {
namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataOutputStream;
using common_base::ScopedPtr;

constexpr int kChunkSize = 4096;

/// A view in the form of a vector, as ReadByteChunk() returns it: never written nor resized.
ByteVector ViewOf(const ByteView& bytes, int offset, int length) {
  return {common_base::kReferenceExistingBuffer, const_cast<unsigned char*>(bytes.data()) + offset,
          length};
}

}  // namespace

void ChunkProviderInterface::WriteToStream(DataOutputStream* out) {
  const int total = GetTotalDataLength();
  for (int offset = 0; offset < total; offset += kChunkSize) {
    out->WriteRawBytes(ReadByteChunk(offset, std::min(kChunkSize, total - offset)));
  }
}

ByteVector BufferChunkProvider::ReadByteChunk(int offset, int length) {
  if (offset < 0 || length <= 0 || offset >= bytes_.length()) return {};
  return ViewOf(bytes_, offset, std::min(length, bytes_.length() - offset));
}

void ChunkProviderList::Append(ChunkProviderInterface* provider) {
  providers_.Append(ScopedPtr<ChunkProviderInterface>(provider));
}

int ChunkProviderList::GetTotalDataLength() const {
  int total = 0;
  for (const auto& provider : providers_) total += provider->GetTotalDataLength();
  return total;
}

ByteVector ChunkProviderList::ReadByteChunk(int offset, int length) {
  CopyBytesFor(offset, length);
  return ViewOf(copy_, 0, copy_.length());
}

void ChunkProviderList::CopyBytesFor(int offset, int length) {
  copy_.Clear();
  const long long wanted_end = static_cast<long long>(offset) + length;
  if (offset < reached_start_) reached_ = reached_start_ = 0;
  for (; reached_ < providers_.length() && reached_start_ <= wanted_end; ++reached_) {
    ChunkProviderInterface* provider = providers_[reached_].get();
    const int end = reached_start_ + provider->GetTotalDataLength();
    if (end >= offset) {
      const int from = std::max(offset - reached_start_, 0);
      const int count =
          static_cast<int>(std::min<long long>(end, wanted_end)) - reached_start_ - from;
      copy_.AppendAll(provider->ReadByteChunk(from, count));
    }
    // The next chunk may begin in here.
    if (end >= wanted_end) return;
    reached_start_ = end;
  }
}

void ChunkProviderList::AppendClonesOf(const ChunkProviderList& other) {
  for (const auto& provider : other.providers_) Append(provider->Clone());
}

ChunkProviderInterface* ChunkProviderList::Clone() const {
  auto* clone = new ChunkProviderList;
  clone->AppendClonesOf(*this);
  return clone;
}

}  // namespace common_kesu

#include "kesu/mux/chunk_provider.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

#include "support/bytes.h"

using common_base::ByteVector;
using common_base::DataOutputStream;
using common_kesu::BufferChunkProvider;
using common_kesu::ChunkProviderInterface;
using common_kesu::ChunkProviderList;
using kesu_test::TextOf;
using kesu_test::ViewOf;

namespace {

/// Reads from `text` and writes down the lengths it is asked for.
class RecordingProvider final : public ChunkProviderInterface {
 public:
  RecordingProvider(std::string_view text, std::vector<int>* lengths)
      : text_(text), lengths_(lengths) {}
  RecordingProvider(const RecordingProvider&) = delete;
  RecordingProvider& operator=(const RecordingProvider&) = delete;

  ByteVector ReadByteChunk(int offset, int length) override {
    lengths_->push_back(length);
    return BufferChunkProvider(ViewOf(text_)).ReadByteChunk(offset, length);
  }
  int GetTotalDataLength() const override { return static_cast<int>(text_.size()); }
  ChunkProviderInterface* Clone() const override { return new RecordingProvider(text_, lengths_); }

 private:
  std::string_view text_;
  std::vector<int>* lengths_;
};

/// What a read has to yield: the part of `text` from `offset` to `offset + length`.
std::string Part(const std::string& text, int offset, int length) {
  const int end = std::clamp(offset + length, 0, static_cast<int>(text.size()));
  const int begin = std::clamp(offset, 0, end);
  return text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
}

}  // namespace

TEST_CASE("chunks of a buffer") {
  const std::string text = "abcdef";
  BufferChunkProvider provider(ViewOf(text));
  CHECK(provider.GetTotalDataLength() == 6);
  for (int offset = 0; offset <= 8; ++offset) {
    for (int length = 0; length <= 8; ++length) {
      CAPTURE(offset);
      CAPTURE(length);
      CHECK(TextOf(provider.ReadByteChunk(offset, length)) == Part(text, offset, length));
    }
  }
  CHECK(provider.ReadByteChunk(-1, 3).IsEmpty());
  CHECK(provider.ReadByteChunk(2, -1).IsEmpty());
  CHECK(TextOf(provider.ReadByteChunk(2, 2147483647)) == "cdef");
  const ByteVector chunk = provider.ReadByteChunk(2, 2);
  CHECK(static_cast<const void*>(chunk.data()) == text.data() + 2);
}

TEST_CASE("chunks of a list are those of its providers one after the other") {
  const std::vector<std::string_view> layouts[] = {
      {}, {""}, {"abc"}, {"", "", ""}, {"a", "b", "c"}, {"abc", "", "defgh", "i", "", "jk"},
  };
  for (const auto& layout : layouts) {
    std::string text;
    ChunkProviderList list;
    for (const std::string_view part : layout) {
      text += part;
      list.Append(new BufferChunkProvider(ViewOf(part)));
    }
    CHECK(list.IsEmpty() == layout.empty());
    CHECK(list.GetTotalDataLength() == static_cast<int>(text.size()));
    const std::unique_ptr<ChunkProviderInterface> clone(list.Clone());
    for (int offset = 0; offset <= list.GetTotalDataLength() + 2; ++offset) {
      for (int length = 0; length <= list.GetTotalDataLength() + 2; ++length) {
        CAPTURE(text);
        CAPTURE(offset);
        CAPTURE(length);
        CHECK(TextOf(list.ReadByteChunk(offset, length)) == Part(text, offset, length));
        CHECK(TextOf(clone->ReadByteChunk(offset, length)) == Part(text, offset, length));
      }
    }
    CHECK(TextOf(list.ReadByteChunk(0, 2147483647)) == text);
    CHECK(list.ReadByteChunk(-2147483647 - 1, 2147483647).IsEmpty());
    CHECK(list.ReadByteChunk(0, -1).IsEmpty());
    list.Clear();
    CHECK(list.GetTotalDataLength() == 0);
    CHECK(list.ReadByteChunk(0, 5).IsEmpty());
    CHECK(clone->GetTotalDataLength() == static_cast<int>(text.size()));
  }
}

TEST_CASE("lists nest") {
  auto* inner = new ChunkProviderList;
  inner->Append(new BufferChunkProvider(ViewOf("bc")));
  inner->Append(new BufferChunkProvider(ViewOf("de")));
  ChunkProviderList outer;
  outer.Append(new BufferChunkProvider(ViewOf("a")));
  outer.Append(inner);
  outer.Append(inner->Clone());
  CHECK(TextOf(outer.ReadByteChunk(0, 9)) == "abcdebcde");
  CHECK(TextOf(outer.ReadByteChunk(4, 3)) == "ebc");
}

TEST_CASE("a stream gets 4096 bytes at a time") {
  struct Row {
    std::size_t total;
    std::vector<int> lengths;
  };
  const Row rows[] = {
      {0, {}}, {1, {1}}, {4096, {4096}}, {4097, {4096, 1}}, {10000, {4096, 4096, 1808}}};
  for (const Row& row : rows) {
    std::string text;
    for (std::size_t i = 0; i < row.total; ++i) text += static_cast<char>('a' + i % 23);
    std::vector<int> lengths;
    RecordingProvider provider(text, &lengths);
    ByteVector bytes;
    DataOutputStream stream(&bytes);
    provider.WriteToStream(&stream);
    CHECK(lengths == row.lengths);
    CHECK(TextOf(bytes) == text);

    ChunkProviderList list;
    list.Append(new BufferChunkProvider(ViewOf(text)));
    list.Append(new BufferChunkProvider(ViewOf("end")));
    ByteVector listed;
    DataOutputStream list_stream(&listed);
    list.WriteToStream(&list_stream);
    CHECK(TextOf(listed) == text + "end");
  }
}

// Reads a message of any class and whatever its bytes, writes it, and reads and writes that again,
// which yields equal bytes. The first byte chooses the class.
#include <algorithm>
#include <memory>
#include <string_view>
#include <vector>

#include "kesu/proto/lbs.h"
#include "kesu/proto/terrabase.h"

#include "fuzz/byte_script.h"

using common_net_proto::FieldRow;
using common_net_proto::Message;
using common_net_proto::MessageDescriptor;
using namespace common_base;
using namespace kesu_fuzz;

namespace {

constexpr int kNoCodeUnit = 0xFFFF;

/// The messages of a lookup and those with groups come first, since the seeds are theirs; then all
/// classes.
std::vector<const MessageDescriptor*> Classes() {
  std::vector<const MessageDescriptor*> classes = {
      &lbs::GLocReply().descriptor(),       &lbs::GLocRequest().descriptor(),
      &lbs::LocQueryRequest().descriptor(), &lbs::LocQueryReply().descriptor(),
      &lbs::LocUpdateReply().descriptor(),  &lbs::CellIdClassification().descriptor()};
  for (const auto& messages : {lbs::Messages(), terrabase::Messages()}) {
    classes.insert(classes.end(), messages.begin(), messages.end());
  }
  return classes;
}

ByteVector Written(const Message& message) {
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  message.Write(&stream);
  return bytes;
}

/// A text with characters beyond U+FFFF loses its end when it is written, deliberately.
bool LosesText(const Message& message) {
  for (const FieldRow& row : message.descriptor()) {
    for (int i = 0; i < row.Count(message); ++i) {
      if (row.is_nested() && LosesText(row.MessageAt(message, i))) return true;
      if (!row.is_text()) continue;
      const GString& text = row.TextAt(message, i);
      if (text->CodePointAt(text->Length()) != kNoCodeUnit) return true;
    }
  }
  return false;
}

bool Read(const ByteView& bytes, Message* message) {
  DataInputStream stream(&bytes);
  return message->Read(&stream);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const std::vector<const MessageDescriptor*> classes = Classes();
  ByteScript script(bytes, size);
  const MessageDescriptor& descriptor = *classes[script.TakeByte() % classes.size()];

  const std::unique_ptr<Message> message(descriptor.make());
  Read(ViewOf(script.TakeRest()), message.get());
  // What was read before a failure is a message like any other.
  const ByteVector written = Written(*message);

  const std::unique_ptr<Message> copy(descriptor.make());
  Require(Read(written, copy.get()));
  if (!LosesText(*message)) Require(std::ranges::equal(Written(*copy), written));

  copy->Clear();
  Require(Written(*copy).IsEmpty());
  return 0;
}

#include <set>
#include <string>

#include <doctest/doctest.h>

#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/net/proto/message_bytes.h"
#include "kesu/proto/lbs.h"
#include "kesu/proto/terrabase.h"

using namespace common_base;
using namespace common_net_proto;
using namespace kesu_test;

namespace {

/// The wire form, by hand.
std::string Varint(unsigned long long value) {
  std::string bytes;
  for (; value > 0x7F; value >>= 7) bytes += static_cast<char>(value | 0x80);
  return bytes += static_cast<char>(value);
}

std::string LittleEndian(long long value, int width) {
  const std::string bytes = BigEndian(static_cast<std::uint64_t>(value), width);
  return {bytes.rbegin(), bytes.rend()};
}

/// A key and a value, which is `text` where it is no number.
std::string FieldBytes(const FieldRow& row, long long value, const std::string& text) {
  const auto key = [&row](unsigned type) { return Varint(row.number * 8U + type); };
  switch (row.kind) {
    case FieldKind::kInt32:
    case FieldKind::kInt64:
      return key(0) + Varint(static_cast<unsigned long long>(value));
    case FieldKind::kUint32:
      return key(0) + Varint(static_cast<unsigned>(value));
    case FieldKind::kBool:
      return key(0) + '\1';
    case FieldKind::kFixed32:
      return key(5) + LittleEndian(value, 4);
    case FieldKind::kFixed64:
      return key(1) + LittleEndian(value, 8);
    case FieldKind::kString:
    case FieldKind::kMessage:
      return key(2) + Varint(text.size()) + text;
    case FieldKind::kGroup:
      return key(3) + text + key(4);
  }
  return {};
}

/// Puts a value into every field, two into repeated ones, and says what is to be written.
std::string Fill(Message* message) {
  std::string bytes;
  for (const FieldRow& row : message->descriptor()) {
    for (int i = 0; i < (row.is_repeated() ? 2 : 1); ++i) {
      const long long value = 100 * i - row.number;
      std::string text = i == 0 ? "\xE2\x82\xAC" : "";
      if (row.is_nested()) {
        text = Fill(row.PutMessage(message));
      } else if (row.is_text()) {
        row.PutText(message, text.c_str());
      } else {
        row.PutNumber(message, value);
      }
      bytes += FieldBytes(row, value, text);
    }
  }
  return bytes;
}

/// Of a message and of the groups in it, at any depth.
void CheckNumbersAreUsedOnce(const MessageDescriptor& descriptor, std::set<int>* numbers) {
  for (const FieldRow& row : descriptor) {
    CHECK(numbers->insert(row.number).second);
    if (row.kind == FieldKind::kGroup) CheckNumbersAreUsedOnce(*row.nested, numbers);
  }
}

void CheckClass(const MessageDescriptor& descriptor) {
  CAPTURE(descriptor.name);
  std::set<int> numbers;
  CheckNumbersAreUsedOnce(descriptor, &numbers);
  const ScopedPtr<Message> message(descriptor.make());
  CHECK(&message->descriptor() == &descriptor);
  const std::string bytes = Fill(message.get());
  CHECK(HexOf(*message) == ToHex(ViewOf(bytes)));
  const ScopedPtr<Message> copy(descriptor.make());
  CHECK(ReadMessage(ViewOf(bytes), copy.get()));
  CHECK(HexOf(*copy) == ToHex(ViewOf(bytes)));
  copy->Clear();
  CHECK(HexOf(*copy) == "");
}

}  // namespace

TEST_CASE("every class: numbers are used once; written and read as by hand, and cleared") {
  for (const MessageDescriptor* descriptor : lbs::Messages()) CheckClass(*descriptor);
  for (const MessageDescriptor* descriptor : terrabase::Messages()) CheckClass(*descriptor);
}

TEST_CASE("the bytes of a request") {
  lbs::GLocRequest request;
  request.mutable_platformprofile()->set_version("1");
  request.mutable_platformprofile()->set_platform("x");
  request.add_appprofiles()->set_request_count(300);
  lbs::GLocRequestElement* element = request.add_requestelements();
  element->mutable_debugprofile()->set_want_trace(true);
  element->mutable_location()->mutable_latlng()->set_longitude_e7(-10'000'000);
  element->mutable_location()->add_feature()->mutable_address()->add_formattedaddressline("A");
  lbs::GCellularProfile* cellular = element->mutable_cellularprofile();
  cellular->mutable_primarycell()->set_mcc(1);
  cellular->mutable_primarycell()->set_signal_strength_dbm(-71);
  cellular->set_timestamp_ms(1000);
  CHECK(HexOf(request) ==
        "0A 06 0A 01 31 12 01 78 "                             // platform profile
        "12 03 18 AC 02 "                                      // application profile
        "22 29 "                                               // element
        "0A 12 0A 0D 08 01 28 B9 FF FF FF FF FF FF FF FF 01 "  // cell
        "10 E8 07 "                                            // its time
        "1A 0E 0A 05 15 80 69 67 FF 2A 05 1A 03 0A 01 41 "     // location, and an address in it
        "9A 06 02 20 01");                                     // field 99 comes last
}

TEST_CASE("the bytes of a component, which skips field 2, of groups and of an empty class") {
  const std::string hex =
      "08 FF FF FF FF 0F 1A 04 18 01 18 02 20 FF FF FF FF FF FF FF FF FF 01 "
      "2A 12 09 08 07 06 05 04 03 02 01 11 FF FF FF FF FF FF FF FF 32 06 08 07 08 09 18 01";
  terrabase::AddressComponentProto component;
  CHECK(ReadMessage(Bytes("12 01 41 " + hex), &component));
  CHECK(HexOf(component) == hex);
  lbs::LocQueryRequest query;
  query.add_requestelement()->add_keyelement()->set_key_type(1);
  query.set_timestamp_ms(5);
  CHECK(HexOf(query) == "0B 13 18 01 14 0C 48 05");
  lbs::GPrefetchMode mode;
  CHECK(ReadMessage(Bytes("08 01 12 01 41 1B 24 1C"), &mode));
  CHECK(HexOf(mode) == "");
}

#include "kesu/proto/lbs.h"

#include <cstddef>
#include <string>

#include <doctest/doctest.h>
#include <malloc.h>

#include "kesu/common/net/proto/message_bytes.h"
#include "kesu/proto/terrabase.h"

#include "support/bytes.h"

#if defined(__SANITIZE_ADDRESS__)
#define KESU_TEST_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KESU_TEST_ADDRESS_SANITIZER 1
#endif
#endif

#if defined(KESU_TEST_ADDRESS_SANITIZER)
// Not every compiler installs the header that declares it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

using common_net_proto::Message;
using kesu_test::Bytes;
using kesu_test::HexOf;
using kesu_test::ReadMessage;

namespace {

std::size_t HeapBytesInUse() {
#if defined(KESU_TEST_ADDRESS_SANITIZER)
  return __sanitizer_get_current_allocated_bytes();
#else
  return mallinfo2().uordblks;
#endif
}

/// How much the heap grows by making messages and calling `use` on each. There are enough of them
/// that no cache of small blocks hides it.
template <typename T, typename Use>
std::size_t HeapGrowth(Use use) {
  const std::size_t before = HeapBytesInUse();
  T messages[64];
  for (T& message : messages) use(&message);
  return HeapBytesInUse() - before;
}

template <typename T>
std::size_t HeapGrowthOfMaking() {
  return HeapGrowth<T>([](T*) {});
}

}  // namespace

TEST_CASE("the bytes of a request") {
  lbs::GLocRequest request;
  request.mutable_platformprofile()->set_version("1");
  request.mutable_platformprofile()->set_platform("x");
  request.add_appprofiles()->set_request_count(300);
  lbs::GLocRequestElement* element = request.add_requestelements();
  element->mutable_debugprofile()->set_want_trace(true);
  element->mutable_location()->mutable_latlng()->set_latitude_e7(10'000'000);
  element->mutable_location()->mutable_latlng()->set_longitude_e7(-10'000'000);
  lbs::GCellularProfile* cellular = element->mutable_cellularprofile();
  cellular->mutable_primarycell()->set_mcc(1);
  cellular->mutable_primarycell()->set_mnc(1);
  cellular->mutable_primarycell()->set_signal_strength_dbm(-71);
  cellular->set_timestamp_ms(1000);
  CHECK(HexOf(request) ==
        "0A 06 0A 01 31 12 01 78 "                                   // platform profile
        "12 03 18 AC 02 "                                            // application profile
        "22 29 "                                                     // element
        "0A 14 0A 0F 08 01 10 01 28 B9 FF FF FF FF FF FF FF FF 01 "  // cell
        "10 E8 07 "                                                  // its time
        "1A 0C 0A 0A 0D 80 96 98 00 15 80 69 67 FF "                 // location
        "9A 06 02 20 01");                                           // field 99 comes last
}

TEST_CASE("the bytes of a reply") {
  const char* const kReply =
      "08 00 "                    // status
      "12 19 12 17 "              // element, location
      "0A 05 0D 80 96 98 00 "     // only a latitude
      "18 96 01 "                 // accuracy
      "2A 0B 0A 01 41 "           // feature
      "1A 06 0A 01 42 0A 01 43 "  // its address
      "1A 01 6B";                 // platform key
  lbs::GLocReply reply;
  REQUIRE(ReadMessage(Bytes(kReply), &reply));
  CHECK(reply.has_status());
  CHECK(reply.platform_key() == "k");
  REQUIRE(reply.replyelements_size() == 1);
  CHECK_FALSE(reply.replyelements(0).has_status());
  const lbs::GLocation& location = reply.replyelements(0).location();
  CHECK(location.latlng().latitude_e7() == 10'000'000);
  CHECK_FALSE(location.latlng().has_longitude_e7());
  CHECK(location.accuracy_m() == 150);
  REQUIRE(location.feature_size() == 1);
  REQUIRE(location.feature(0).address().formattedaddressline_size() == 2);
  CHECK(location.feature(0).address().formattedaddressline(1) == "C");
  CHECK(HexOf(reply) == kReply);
}

TEST_CASE("the bytes of an address component") {
  terrabase::AddressComponentProto component;
  component.set_component_type(0xFFFFFFFF);
  terrabase::NameProto* name = component.add_parsed_name();
  name->add_flag(1);
  name->add_flag(2);
  component.set_index(-1);
  component.mutable_feature_id()->set_first_half(0x0102030405060708);
  component.mutable_feature_id()->set_second_half(-1);
  component.mutable_range()->add_number(7);
  component.mutable_range()->add_number(9);
  component.mutable_range()->set_same_parity(true);
  const std::string written = HexOf(component);
  CHECK(written ==
        "08 FF FF FF FF 0F 1A 04 18 01 18 02 20 FF FF FF FF FF FF FF FF FF 01 "
        "2A 12 09 08 07 06 05 04 03 02 01 11 FF FF FF FF FF FF FF FF 32 06 08 07 08 09 18 01");

  terrabase::AddressComponentProto again;
  CHECK(ReadMessage(Bytes("12 01 41 " + written), &again));  // Field 2 is skipped.
  CHECK(HexOf(again) == written);
}

TEST_CASE("the bytes of groups") {
  lbs::CellIdCluster clusters;
  clusters.set_cell_id(5);
  clusters.add_cluster()->set_point_count(7);
  clusters.mutable_cluster(0)->set_latitude_e7(1);
  clusters.set_cluster_count(3);
  CHECK(HexOf(clusters) == "08 05 1B 20 07 8D 01 01 00 00 00 1C 48 03");

  lbs::LocQueryRequest query;
  query.add_requestelement()->add_keyelement()->set_key_type(1);
  query.set_timestamp_ms(5);
  CHECK(HexOf(query) == "0B 13 18 01 14 0C 48 05");
}

TEST_CASE("messages without fields skip everything") {
  lbs::GPrefetchMode mode;
  lbs::ResponseCodes codes;
  for (Message* message : {static_cast<Message*>(&mode), static_cast<Message*>(&codes)}) {
    CHECK(ReadMessage(Bytes("08 01 12 01 41 1B 24 1C"), message));
    CHECK(HexOf(*message) == "");
    CHECK_FALSE(ReadMessage(Bytes("0E"), message));
  }
}

TEST_CASE("default-made messages allocate nothing, nor does reading what is absent") {
  CHECK(HeapGrowthOfMaking<lbs::GLocRequest>() == 0);
  CHECK(HeapGrowthOfMaking<lbs::GLocReply>() == 0);
  CHECK(HeapGrowthOfMaking<lbs::GLocation>() == 0);
  CHECK(HeapGrowthOfMaking<lbs::CellIdData>() == 0);
  CHECK(HeapGrowthOfMaking<terrabase::AddressProto>() == 0);
  CHECK(HeapGrowth<lbs::GLocRequest>([](auto* request) { request->mutable_userprofile(); }) > 0);

  lbs::GLocReplyElement element;
  CHECK(element.location().gpsprofile().hdop_centi() == 0);
  CHECK(element.location().source() == "");
  CHECK_FALSE(element.location().has_gpsprofile());
  CHECK_FALSE(element.has_location());
  CHECK(HexOf(element) == "");
  CHECK(HeapGrowth<lbs::GLocReplyElement>([](auto* absent) {
          static_cast<void>(absent->location().latlng().latitude_e7());
          static_cast<void>(absent->location().source());
        }) == 0);
}

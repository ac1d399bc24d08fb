#include "kesu/proto/lbs.h"

#include <string>

#include <doctest/doctest.h>

#include "kesu/common/net/proto/message_bytes.h"
#include "kesu/proto/terrabase.h"

#include "support/bytes.h"

using kesu_test::Bytes;
using kesu_test::HexOf;
using kesu_test::ReadMessage;

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
  CHECK(reply.platform_key() == "k");
  REQUIRE(reply.replyelements_size() == 1);
  const lbs::GLocation& location = reply.replyelements(0).location();
  CHECK_FALSE(location.latlng().has_longitude_e7());
  CHECK(location.accuracy_m() == 150);
  REQUIRE(location.feature_size() == 1);
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
  lbs::LocQueryRequest query;
  query.add_requestelement()->add_keyelement()->set_key_type(1);
  query.set_timestamp_ms(5);
  CHECK(HexOf(query) == "0B 13 18 01 14 0C 48 05");
}

TEST_CASE("messages without fields skip everything; absent ones can be asked") {
  lbs::GPrefetchMode mode;
  CHECK(ReadMessage(Bytes("08 01 12 01 41 1B 24 1C"), &mode));
  CHECK(HexOf(mode) == "");
  CHECK_FALSE(ReadMessage(Bytes("0E"), &mode));

  lbs::GLocReplyElement element;
  CHECK(element.location().gpsprofile().hdop_centi() == 0);
  CHECK(element.location().source() == "");
  CHECK_FALSE(element.has_location());
  CHECK(HexOf(element) == "");
}

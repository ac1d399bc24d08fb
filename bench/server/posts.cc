#include "posts.h"

#include <cstdint>
#include <cstdio>

#include "kesu/proto/lbs_reply.h"
#include "kesu/proto/lbs_request.h"

#include "loopback_client.h"
#include "report.h"
#include "server/protocol/big_endian.h"
#include "server/protocol/byte_cursor.h"
#include "server/services/location_messages.h"
#include "server/services/location_service.h"

namespace kesu_server_bench {
namespace {

using kesu_server::AppendBigEndian;
using kesu_server::ByteCursor;

constexpr std::uint16_t kHeaderBlock = 0x0001;
constexpr std::uint16_t kRequestBlock = 0x0100;

std::string Payload(const Lookup& lookup) {
  lbs::GLocRequest request;
  request.mutable_platformprofile()->set_platform_key(
      kesu_server::GStringOf("c24bde3d-23d4-4c2e-8c18-6b2d7e7f9a10"));
  lbs::GWifiProfile* const wifi = request.add_requestelements()->mutable_wifiprofile();
  for (const HeardAccessPoint& heard : lookup) {
    char address[18];
    const auto byte = [&heard](int place) {
      return static_cast<unsigned>(heard.mac >> (8 * place) & 0xFF);
    };
    std::snprintf(address, sizeof address, "%02x-%02x-%02x-%02x-%02x-%02x", byte(5), byte(4),
                  byte(3), byte(2), byte(1), byte(0));
    lbs::GWifiDevice* const device = wifi->add_wifidevices();
    device->set_mac_address(kesu_server::GStringOf(address));
    device->set_signal_strength_dbm(heard.dbm);
  }
  common_base::ByteVector bytes;
  common_base::DataOutputStream out(&bytes);
  request.Write(&out);
  return {bytes.begin(), bytes.end()};
}

void AppendShortRun(std::string_view text, std::string* out) {
  AppendBigEndian(static_cast<std::uint16_t>(text.size()), out);
  out->append(text);
}

void AppendBlock(std::uint16_t type, const std::string& content, std::string* out) {
  AppendBigEndian(static_cast<std::uint32_t>(content.size()), out);
  AppendBigEndian(type, out);
  out->append(content);
}

}  // namespace

std::string PostBody(std::span<const Lookup> lookups) {
  std::string body;
  AppendBigEndian(std::uint16_t{1}, &body);
  std::string header;
  AppendShortRun("kesu-server-bench", &header);
  AppendBigEndian(std::uint64_t{1}, &header);
  AppendShortRun("", &header);
  AppendBlock(kHeaderBlock, header, &body);
  std::uint16_t id = 0;
  for (const Lookup& lookup : lookups) {
    std::string block;
    AppendBigEndian(++id, &block);
    AppendShortRun(kesu_server::LocationService::kName, &block);
    AppendBigEndian(std::uint16_t{0}, &block);
    const std::string payload = Payload(lookup);
    AppendBigEndian(static_cast<std::uint32_t>(payload.size()), &block);
    block += payload;
    AppendBlock(kRequestBlock, block, &body);
  }
  return body;
}

std::vector<std::string> HttpPosts(const InventedWorld& world, std::size_t lookups_of_each) {
  std::vector<std::string> posts;
  const std::span<const Lookup> lookups = world.lookups();
  for (std::size_t i = 0; i + lookups_of_each <= lookups.size(); i += lookups_of_each) {
    posts.push_back(HttpPost(PostBody(lookups.subspan(i, lookups_of_each))));
  }
  return posts;
}

void ExpectLocated(std::string_view reply_body, std::size_t lookups) {
  constexpr std::int16_t kFound = 200;
  // Length and type of a block.
  constexpr std::size_t kBlockStart = 4 + 2;
  std::optional<kesu_server::ReadError> error;
  ByteCursor in(reply_body, 0, &error);
  in.Int16("version");
  std::size_t located = 0;
  for (; !error && !in.at_end(); ++located) {
    const std::size_t before = in.offset() + kBlockStart;
    const std::int32_t length = in.Int32("length");
    in.Uint16("type");
    in.Int16("id");
    if (in.Int16("status") != kFound) Fail("a lookup is not answered");
    in.ShortRun("encodings");
    in.Int32("a number that nobody interprets");
    const auto read = static_cast<std::int32_t>(in.offset() - before);
    const std::string_view payload = in.Run("payload", before, length - read);
    const common_base::ByteView view(common_base::kReferenceExistingBuffer,
                                     reinterpret_cast<const unsigned char*>(payload.data()),
                                     static_cast<int>(payload.size()));
    common_base::DataInputStream stream(&view);
    lbs::GLocReply reply;
    if (!reply.Read(&stream) || reply.replyelements_size() != 1 ||
        !reply.replyelements(0).location().has_accuracy_m()) {
      Fail("a device is not located");
    }
  }
  if (located != lookups) Fail("not all lookups are answered");
}

}  // namespace kesu_server_bench

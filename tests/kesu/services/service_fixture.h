#ifndef TESTS_KESU_SERVICES_SERVICE_FIXTURE_H_
#define TESTS_KESU_SERVICES_SERVICE_FIXTURE_H_

#include <string>
#include <string_view>

#include "kesu/common/net/proto/message.h"
#include "kesu/mux/mux_fixture.h"
#include "kesu/proto/lbs.h"
#include "kesu/services/lbs_service.h"

#include "support/recording_requester.h"

namespace kesu_test {

/// Carries the calls of services, and answers them by hand.
struct ServiceFixture : MuxFixture {
  static constexpr char kGarbage[] = "\x12\x7F";

  /// The payload of the one call in the latest POST, in hexadecimal.
  std::string LatestPayload() const {
    const auto posted = PostedRequests(transport.exchange(transport.count() - 1).body);
    REQUIRE(posted.size() == 1);
    return ToHex(ViewOf(posted[0].payload));
  }
  /// Sends what waits and gives every call in that POST the same answer.
  void Answer(std::string_view payload, int status = 200) {
    mux()->FlushPendingRequests();
    AnswerLatest(payload, status);
  }
  void AnswerLatest(std::string_view payload, int status = 200) {
    std::string reply = kReplyStart;
    for (const PostedRequest& request :
         PostedRequests(transport.exchange(transport.count() - 1).body)) {
      reply += ReplyBlock(request.id, payload, status);
    }
    transport.Reply(transport.count() - 1, reply);
  }
  /// Sends what waits and lets that POST fail.
  void FailPost(int status = 500) {
    mux()->FlushPendingRequests();
    transport.Fail(transport.count() - 1, status);
  }

  static std::string PayloadOf(const common_net_proto::Message& message) {
    common_base::ByteVector bytes;
    common_base::DataOutputStream stream(&bytes);
    message.Write(&stream);
    return TextOf(bytes);
  }

  /// A request that holds nothing but a version: kPayloadA is that of "A".
  static lbs::GLocRequest* NewRequest(const char* version) {
    auto* request = new lbs::GLocRequest;
    request->mutable_platformprofile()->set_version(version);
    return request;
  }
};

inline constexpr char kPayloadA[] = "0A 03 0A 01 41";
inline constexpr char kPayloadB[] = "0A 03 0A 01 42";

}  // namespace kesu_test

#endif  // TESTS_KESU_SERVICES_SERVICE_FIXTURE_H_

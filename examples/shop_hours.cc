// Asks a service of one's own when a shop is open:
//
//     shop_hours http://127.0.0.1:8642 "The corner shop"

#include <iostream>

#include "client/main_loop.h"
#include "client/service_call.h"

// The two messages, a line for each field.
class HoursRequest final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(HoursRequest);
  KESU_FIELD(1, kOptional, String, shop_name);
  KESU_MESSAGE_END();
};

class HoursReply final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(HoursReply);
  KESU_FIELD(1, kOptional, Int32, opens_at);
  KESU_FIELD(2, kOptional, Int32, closes_at);
  KESU_MESSAGE_END();
};

KESU_DEFINE_MESSAGE(HoursRequest)
KESU_DEFINE_MESSAGE(HoursReply)

int main(int argc, char** argv) {
  kesu::MainLoop loop;
  kesu::Client client({.server = argc > 1 ? argv[1] : "http://127.0.0.1:8642"});
  HoursRequest request;
  request.set_shop_name(argc > 2 ? argv[2] : "The corner shop");
  const kesu::Call call =
      client.Call<HoursReply>("shop:hours", request, [&](const kesu::Result<HoursReply>& hours) {
        if (hours) {
          std::cout << hours->opens_at() << " to " << hours->closes_at() << '\n';
        } else {
          std::cout << hours.error().message << '\n';
        }
        loop.Quit();
      });
  loop.Run();
}

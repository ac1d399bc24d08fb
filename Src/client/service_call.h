#ifndef CLIENT_SERVICE_CALL_H_
#define CLIENT_SERVICE_CALL_H_

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "client/client.h"
#include "kesu/common/net/proto/decode_budget.h"
#include "kesu/common/net/proto/message_table.h"

/// Client::Call(), for services of one's own. Their messages are classes such as those of
/// kesu/common/net/proto/message_table.h:
///
///     kesu::Call call = client.Call<HoursReply>(
///         "shop:hours", request, [](const kesu::Result<HoursReply>& reply) { … });
///
/// A message belongs to the thread of the main loop. A call that is made on another, or where the
/// thread has pushed a main context of its own, ends as kMisuse.
namespace kesu {

namespace detail {

/// Makes `bytes` a Reply, and tells `callback` of it.
template <typename Reply>
void TellOfReply(const Result<std::string>& bytes,
                 const std::function<void(const Result<Reply>&)>& callback) {
  if (!callback) return;
  if (!bytes) return callback(bytes.error());
  Result<Reply> reply(std::in_place);
  const common_base::ByteView view(common_base::kReferenceExistingBuffer,
                                   reinterpret_cast<const unsigned char*>(bytes->data()),
                                   static_cast<int>(bytes->size()));
  common_base::DataInputStream stream(&view);
  bool is_read = false;
  {
    const common_net_proto::DecodeBudget budget;
    is_read = reply->Read(&stream);
  }
  if (is_read) return callback(reply);
  callback(Error{ErrorKind::kMalformed, "the answer is no message of the service, or too large"});
}

}  // namespace detail

template <typename Reply, typename Request>
kesu::Call Client::Call(std::string_view service, const Request& request,
                        std::function<void(const Result<Reply>&)> callback) {
  auto on_bytes = [callback = std::move(callback)](const Result<std::string>& bytes) {
    detail::TellOfReply<Reply>(bytes, callback);
  };
  if (!IsOnLoop()) return Refuse(std::move(on_bytes));
  common_base::ByteVector bytes;
  common_base::DataOutputStream stream(&bytes);
  request.Write(&stream);
  const std::string_view view(reinterpret_cast<const char*>(bytes.data()),
                              static_cast<std::size_t>(bytes.length()));
  return CallBytes(service, view, std::move(on_bytes));
}

}  // namespace kesu

#endif  // CLIENT_SERVICE_CALL_H_

#ifndef KESU_BENCH_PEERS_REPLY_TEXTS_H_
#define KESU_BENCH_PEERS_REPLY_TEXTS_H_

#include "kesu/proto/lbs.h"

#include "bench/peers/plain/messages.h"

/// Calls `use` with every text of the sample reply, in the order of the message.
template <typename Use>
void ForEachText(const lbs::GLocReply& reply, const Use& use) {
  for (int i = 0; i < reply.replyelements_size(); ++i) {
    const lbs::GLocation& location = reply.replyelements(i).location();
    for (int j = 0; j < location.feature_size(); ++j) {
      const lbs::GFeature& feature = location.feature(j);
      use(feature.name());
      const lbs::GAddress& address = feature.address();
      for (int k = 0; k < address.formattedaddressline_size(); ++k) {
        use(address.formattedaddressline(k));
      }
    }
  }
  use(reply.platform_key());
}

template <typename Use>
void ForEachText(const plain::Reply& reply, const Use& use) {
  for (const plain::ReplyElement& element : reply.elements) {
    for (const plain::Feature& feature : element.location->features) {
      use(*feature.name);
      for (const icu::UnicodeString& line : feature.address->lines) use(line);
    }
  }
  use(*reply.platform_key);
}

#endif  // KESU_BENCH_PEERS_REPLY_TEXTS_H_

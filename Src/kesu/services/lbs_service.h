#ifndef KESU_SERVICES_LBS_SERVICE_H_
#define KESU_SERVICES_LBS_SERVICE_H_

#include "kesu/proto/lbs.h"
#include "kesu/services/vollen_service.h"

namespace common_kesu {

/// The remote service behind both the location lookup and the reverse geocoder.
inline constexpr char kLBSServiceUri[] = "g:loc/ql";

inline constexpr char kLBSDefaultPlatform[] = "KesuTestPlatform";
inline constexpr char kLBSDefaultDistributionChannel[] = "internal only";
inline constexpr char kLBSDefaultLocale[] = "en_US";

using LbsService = VollenService<lbs::GLocRequest, lbs::GLocReply>;

/// A new message with the same contents, owned by the caller: messages are copied by writing them
/// out and reading them back.
template <typename T>
T* CopyMessage(const T& message) {
  constexpr int kTypicalBytes = 256;
  common_base::GVector<unsigned char> bytes;
  bytes.SetReserve(kTypicalBytes);
  common_base::DataOutputStream out(&bytes);
  message.Write(&out);
  const common_base::GVectorRef<const unsigned char> view(bytes);
  common_base::DataInputStream in(&view);
  T* copy = new T;
  copy->Read(&in);
  return copy;
}

}  // namespace common_kesu

#endif  // KESU_SERVICES_LBS_SERVICE_H_

#include "kesu/proto/lbs.h"

#include "kesu/common/net/proto/message_table.h"

// Every message class of this family, once: a class that is used but not listed does not link.
#define KESU_LBS_MESSAGES(X)                            \
  X(GLatLng)                                            \
  X(GRectangle)                                         \
  X(GAddressComponent)                                  \
  X(GAddress)                                           \
  X(GFeature)                                           \
  X(GGpsProfile)                                        \
  X(GLocation)                                          \
  X(GCell)                                              \
  X(GCellularProfile)                                   \
  X(GWifiDevice)                                        \
  X(GWifiProfile)                                       \
  X(GDeviceLocation)                                    \
  X(GGeocodeRequest)                                    \
  X(GeocodeParams)                                      \
  X(GCellularPlatformProfile)                           \
  X(GWifiPlatformProfile)                               \
  X(GPlatformProfile)                                   \
  X(GAppProfile)                                        \
  X(GUserProfile)                                       \
  X(GDebugProfile)                                      \
  X(GLocRequestElement)                                 \
  X(GLocRequest)                                        \
  X(GLocReplyElement)                                   \
  X(GLocReply)                                          \
  X(GPrefetchMode)                                      \
  X(ResponseCodes)                                      \
  X(ValueFreqPair)                                      \
  X(CellIdName)                                         \
  X(NeighborCell)                                       \
  X(HistoryCell)                                        \
  X(CellTowerSignal)                                    \
  X(CellTowerProfile)                                   \
  X(CellIdCluster_Cluster)                              \
  X(CellIdCluster)                                      \
  X(CellIdClassification_Classification_Result_Cluster) \
  X(CellIdClassification_Classification_Result)         \
  X(CellIdClassification_Classification)                \
  X(CellIdClassification)                               \
  X(Position)                                           \
  X(WifiDevice)                                         \
  X(WifiScanner)                                        \
  X(WifiScannerReport)                                  \
  X(WifiDataCollectionReport)                           \
  X(WifiDeviceReport)                                   \
  X(NeighborReport)                                     \
  X(LocationReport)                                     \
  X(ApleProcessingContainer)                            \
  X(DebugContainer)                                     \
  X(CellIdData)                                         \
  X(UserLocationProto)                                  \
  X(LocQueryRequest_RequestElement_KeyElement)          \
  X(LocQueryRequest_RequestElement)                     \
  X(LocQueryRequest)                                    \
  X(LocQueryReply_ReplyElement)                         \
  X(LocQueryReply)                                      \
  X(LocUpdateRequest_RequestElement_KeyElement)         \
  X(LocUpdateRequest_RequestElement)                    \
  X(LocUpdateRequest)                                   \
  X(LocUpdateReply_ReplyElement)                        \
  X(LocUpdateReply)

namespace lbs {

KESU_LBS_MESSAGES(KESU_DEFINE_MESSAGE)

std::span<const common_net_proto::MessageDescriptor* const> Messages() {
  static constexpr const common_net_proto::MessageDescriptor* kMessages[] = {
      KESU_LBS_MESSAGES(KESU_MESSAGE_LIST_ENTRY)};
  return kMessages;
}

}  // namespace lbs

#include "sample_messages.h"

#include "kesu/common/base/string_format.h"

namespace {

using common_base::NewGStringFromFormat;

constexpr int kNeighbours = 5;
constexpr int kAccessPoints = 20;
constexpr int kReplyElements = 8;
constexpr int kFeatures = 8;

void FillCell(int cell_id, lbs::GCell* cell) {
  cell->set_mcc(1);
  cell->set_mnc(1);
  cell->set_area_code(1);
  cell->set_cell_id(cell_id);
  cell->set_signal_strength_dbm(-71);
}

}  // namespace

void FillRequest(lbs::GLocRequest* request) {
  lbs::GPlatformProfile* profile = request->mutable_platformprofile();
  profile->set_platform("bench");
  profile->set_locale("en_US");
  lbs::GLocRequestElement* element = request->add_requestelements();
  lbs::GCellularProfile* cells = element->mutable_cellularprofile();
  FillCell(1001, cells->mutable_primarycell());
  for (int i = 1; i <= kNeighbours; ++i) FillCell(1001 + i, cells->add_neighbors());
  for (int i = 0; i < kAccessPoints; ++i) {
    lbs::GWifiDevice* device = element->mutable_wifiprofile()->add_wifidevices();
    device->set_mac_address(NewGStringFromFormat("00-00-5E-00-53-%x%x", i / 16, i % 16));
    device->set_signal_strength_dbm(-60);
    device->set_channel(6);
  }
}

void FillReply(lbs::GLocReply* reply) {
  reply->set_status(0);
  reply->set_platform_key("0123456789abcdef");
  for (int i = 0; i < kReplyElements; ++i) {
    lbs::GLocation* location = reply->add_replyelements()->mutable_location();
    location->mutable_latlng()->set_latitude_e7(387166667 + i);
    location->mutable_latlng()->set_longitude_e7(-91333333 - i);
    location->set_accuracy_m(150);
    for (int j = 0; j < kFeatures; ++j) {
      lbs::GFeature* feature = location->add_feature();
      feature->set_name(NewGStringFromFormat("Feature %d of place %d", j, i));
      feature->mutable_address()->add_formattedaddressline("Lisboa, Portugal");
    }
  }
}

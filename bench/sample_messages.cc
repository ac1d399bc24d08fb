#include "sample_messages.h"

#include <cstdio>

namespace {

constexpr int kNeighbours = 5;
constexpr int kAccessPoints = 20;
constexpr int kLookupAccessPoints = 2;
constexpr int kReplyElements = 8;
constexpr int kTextRoom = 80;
constexpr int kLongitudeE7 = -91333333;

/// A place near the position, and the lines of its address; a second line is not always there.
struct Place {
  const char* name;
  const char* first_line;
  const char* second_line;
};

/// In each, %d is the number of the element.
constexpr Place kPlaces[] = {
    {"Rua da Prata 10%d", "Rua da Prata 10%d, 1100-419 Lisboa", "Lisboa, Portugal"},
    {"Pra\u00E7a do Com\u00E9rcio %d", "Pra\u00E7a do Com\u00E9rcio %d, 1100-148 Lisboa",
     "Lisboa, Portugal"},
    {"Largo do Carmo %d", "1200-092 Lisboa", "Lisboa, Portugal"},
    {"Rua de S\u00E3o Juli\u00E3o %d", "1100-524 Lisboa", nullptr},
    {"Rua Augusta 2%d", "1100-053 Lisboa", "Portugal"},
    {"Rossio 12%d", "1100-200 Lisboa", nullptr},
};

class Texts {
 public:
  explicit Texts(TextMaker make) : make_(make) {}

  common_base::GString Make(const char* format, int number) const {
    char utf8[kTextRoom];
    // NOLINTNEXTLINE(clang-diagnostic-format-nonliteral)
    std::snprintf(utf8, sizeof utf8, format, number);
    return make_(utf8);
  }
  common_base::GString Make(const char* utf8) const { return make_(utf8); }

 private:
  TextMaker make_;
};

void FillCell(int cell_id, lbs::GCell* cell) {
  cell->set_mcc(1);
  cell->set_mnc(1);
  cell->set_area_code(1);
  cell->set_cell_id(cell_id);
  cell->set_signal_strength_dbm(-71);
}

void FillAccessPoints(int count, const Texts& texts, lbs::GWifiProfile* profile) {
  for (int i = 0; i < count; ++i) {
    lbs::GWifiDevice* device = profile->add_wifidevices();
    device->set_mac_address(texts.Make("00-00-5E-00-53-%02X", i));
    device->set_signal_strength_dbm(-60);
    device->set_channel(6);
  }
}

void FillFeature(const Place& place, int number, const Texts& texts, lbs::GFeature* feature) {
  feature->set_name(texts.Make(place.name, number));
  lbs::GAddress* address = feature->mutable_address();
  address->add_formattedaddressline(texts.Make(place.first_line, number));
  if (place.second_line != nullptr) {
    address->add_formattedaddressline(texts.Make(place.second_line));
  }
}

}  // namespace

void FillRequest(lbs::GLocRequest* request, TextMaker make_text) {
  const Texts texts(make_text);
  lbs::GPlatformProfile* profile = request->mutable_platformprofile();
  profile->set_version(texts.Make("1.4.2"));
  profile->set_platform(texts.Make("bench"));
  profile->set_locale(texts.Make("pt_PT"));
  profile->set_model(texts.Make("example-handset-2026"));
  profile->set_platform_key(texts.Make("0123456789abcdef0123456789abcdef"));
  lbs::GLocRequestElement* element = request->add_requestelements();
  lbs::GCellularProfile* cells = element->mutable_cellularprofile();
  FillCell(1001, cells->mutable_primarycell());
  for (int i = 1; i <= kNeighbours; ++i) FillCell(1001 + i, cells->add_neighbors());
  FillAccessPoints(kAccessPoints, texts, element->mutable_wifiprofile());
}

void FillReply(lbs::GLocReply* reply, TextMaker make_text) {
  const Texts texts(make_text);
  reply->set_status(0);
  reply->set_platform_key(texts.Make("k1.0123456789abcdef0123456789ab"));
  for (int i = 0; i < kReplyElements; ++i) {
    lbs::GLocation* location = reply->add_replyelements()->mutable_location();
    location->mutable_latlng()->set_latitude_e7(kLatitudeE7 + i);
    location->mutable_latlng()->set_longitude_e7(kLongitudeE7 - i);
    location->set_accuracy_m(150);
    for (const Place& place : kPlaces) {
      FillFeature(place, i, texts, location->add_feature());
    }
  }
}

void FillLookup(lbs::GLocRequest* request) {
  const Texts texts(&common_base::NewGStringFromUtf8);
  lbs::GPlatformProfile* profile = request->mutable_platformprofile();
  profile->set_platform("bench");
  profile->set_locale("pt_PT");
  lbs::GLocRequestElement* element = request->add_requestelements();
  FillCell(1001, element->mutable_cellularprofile()->mutable_primarycell());
  FillAccessPoints(kLookupAccessPoints, texts, element->mutable_wifiprofile());
}

void FillLookupReply(lbs::GLocReply* reply) {
  reply->set_status(0);
  reply->set_platform_key("0123456789abcdef");
  lbs::GLocation* location = reply->add_replyelements()->mutable_location();
  location->mutable_latlng()->set_latitude_e7(kLatitudeE7);
  location->mutable_latlng()->set_longitude_e7(kLongitudeE7);
  location->set_accuracy_m(150);
}

#include "tools/kesu/lookup.h"

#include <cmath>
#include <string>
#include <utility>

#include "kesu/services/location_service.h"
#include "kesu/services/reverse_geocode_service.h"

#include "tools/kesu/location_check.h"

namespace kesu_tool {
namespace {

using common_base::GString;

std::string TextOf(const GString& string) {
  common_base::ByteVector utf8;
  string->ToUtf8Vector(&utf8);
  return {utf8.begin(), utf8.end()};
}

int ToE7(double degrees) {
  return static_cast<int>(std::lround(degrees * kUnitsPerDegree));
}

void FillCell(const Cell& cell, lbs::GCell* message) {
  message->set_mcc(cell.mcc);
  message->set_mnc(cell.mnc);
  message->set_area_code(cell.area_code);
  message->set_cell_id(cell.cell_id);
  if (cell.signal_strength_dbm) message->set_signal_strength_dbm(*cell.signal_strength_dbm);
}

void FillDevice(const AccessPoint& access_point, lbs::GWifiDevice* message) {
  message->set_mac_address(access_point.mac_address.c_str());
  if (access_point.signal_strength_dbm) {
    message->set_signal_strength_dbm(*access_point.signal_strength_dbm);
  }
}

lbs::GLocRequest* NewRequest(const Observation& observation) {
  auto* request = new lbs::GLocRequest;
  lbs::GLocRequestElement* element = request->add_requestelements();
  bool is_serving_cell = true;
  for (const Cell& cell : observation.cells) {
    lbs::GCellularProfile* profile = element->mutable_cellularprofile();
    FillCell(cell, is_serving_cell ? profile->mutable_primarycell() : profile->add_neighbors());
    is_serving_cell = false;
  }
  for (const AccessPoint& access_point : observation.access_points) {
    FillDevice(access_point, element->mutable_wifiprofile()->add_wifidevices());
  }
  if (observation.gps_fix) {
    lbs::GLatLng* latlng = element->mutable_location()->mutable_latlng();
    latlng->set_latitude_e7(ToE7(observation.gps_fix->latitude));
    latlng->set_longitude_e7(ToE7(observation.gps_fix->longitude));
  }
  return request;
}

/// What the two services have in common.
template <typename Service>
class ServiceLookup : public Lookup {
 protected:
  template <typename... ServiceArguments>
  explicit ServiceLookup(ServiceArguments&&... arguments)
      : service_(std::forward<ServiceArguments>(arguments)...) {}

  const Service& service() const { return service_; }
  const lbs::GLocReply& reply() const final { return *service_.GetGLocReply(); }

 private:
  common_base::RequestInterface* NewInvocation() override { return service_.NewInvocation(); }
  int last_status() const override { return service_.last_status(); }
  int last_http_status() const override { return service_.last_http_status(); }
  const common_kesu::TransportError& last_transport_error() const override {
    return service_.last_transport_error();
  }

  Service service_;
};

class LocateLookup final : public ServiceLookup<common_kesu::LocationService> {
 public:
  explicit LocateLookup(const Observation& observation)
      : ServiceLookup(common_kesu::kLBSServiceUri, NewRequest(observation)) {}

 private:
  void ReadAnswer(Result* result) const override {
    GString platform_key;
    service().GetPlatformKey(&platform_key);
    result->platform_key = TextOf(platform_key);
    common_base::GVector<lbs::GLocation*> locations;
    service().GetGLocations(&locations);
    for (const lbs::GLocation* location : locations) {
      const lbs::GLatLng& latlng = location->latlng();
      if (!latlng.has_latitude_e7() || !latlng.has_longitude_e7()) continue;
      result->point = {latlng.latitude_e7() / kUnitsPerDegree,
                       latlng.longitude_e7() / kUnitsPerDegree};
      if (location->has_accuracy_m()) result->accuracy_m = location->accuracy_m();
      return;
    }
    result->outcome = Outcome::kNothingFound;
  }
};

class ReverseLookup final : public ServiceLookup<common_kesu::ReverseGeocodeService> {
 public:
  ReverseLookup(const Point& point, const common_base::ClockInterface* clock)
      : ServiceLookup(static_cast<float>(point.latitude), static_cast<float>(point.longitude),
                      clock) {
    SetPoint(point);
  }

 private:
  void ReadAnswer(Result* result) const override {
    if (service().revgeocode_request_succeeded()) {
      result->address = TextOf(service().GetLongestReverseGeocode());
      ReadFeatures(result);
    }
    if (result->address.empty()) result->outcome = Outcome::kNothingFound;
  }

  void ReadFeatures(Result* result) const {
    for (int i = 0; i < reply().replyelements_size(); ++i) {
      const lbs::GLocation& location = reply().replyelements(i).location();
      for (int j = 0; j < location.feature_size(); ++j) {
        const GString& name = location.feature(j).name();
        if (!name->IsEmpty()) result->features.push_back(TextOf(name));
      }
    }
  }
};

}  // namespace

bool Lookup::Start(std::function<void()> at_end) {
  at_end_ = std::move(at_end);
  common_base::RequestInterface* invocation = NewInvocation();
  if (invocation->Start(this) == 0) return true;
  invocation->Cancel();
  TakeError();
  result_.outcome = Outcome::kFailed;
  return false;
}

void Lookup::OnRequestComplete(common_base::RequestInterface*) {
  result_.status = last_status();
  result_.http_status = last_http_status();
  result_.reason = DescribeImpossible(reply());
  result_.outcome = result_.reason.empty() ? Outcome::kFound : Outcome::kMalformed;
  if (result_.outcome == Outcome::kFound) ReadAnswer(&result_);
  at_end_();
}

void Lookup::OnRequestFailed(common_base::RequestInterface*) {
  TakeError();
  result_.outcome = ClassifyFailure(result_);
  at_end_();
}

void Lookup::TakeError() {
  result_.status = last_status();
  result_.http_status = last_http_status();
  result_.SetTransportError(last_transport_error());
}

std::vector<std::unique_ptr<Lookup>> NewLookups(const Arguments& arguments,
                                                const common_base::ClockInterface* clock) {
  std::vector<std::unique_ptr<Lookup>> lookups;
  for (const Observation& observation : arguments.observations) {
    lookups.push_back(std::make_unique<LocateLookup>(observation));
  }
  for (const Point& point : arguments.points) {
    lookups.push_back(std::make_unique<ReverseLookup>(point, clock));
  }
  return lookups;
}

}  // namespace kesu_tool

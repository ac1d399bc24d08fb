#ifndef SERVER_COUNTING_STORAGE_H_
#define SERVER_COUNTING_STORAGE_H_

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "server/http/worker_record.h"
#include "server/storage/storage.h"

namespace kesu_server {

/// Another storage, whose hits and misses it counts.
class CountingStorage final : public Storage {
 public:
  /// `record` is borrowed.
  CountingStorage(std::unique_ptr<Storage> storage, WorkerRecord* record)
      : storage_(std::move(storage)), record_(record) {}

  bool FindStations(std::span<const StationKey> keys,
                    std::vector<std::optional<Station>>* stations) override {
    if (!storage_->FindStations(keys, stations)) return false;
    for (const std::optional<Station>& station : *stations) {
      ++(station ? record_->known_stations : record_->unknown_stations);
    }
    return true;
  }

  bool NearestPlaces(const LatLng& point, int count, double radius_m,
                     std::vector<NearbyPlace>* places) override {
    return storage_->NearestPlaces(point, count, radius_m, places);
  }
  bool NearestAddresses(const LatLng& point, int count, double radius_m,
                        std::vector<NearbyAddress>* addresses) override {
    return storage_->NearestAddresses(point, count, radius_m, addresses);
  }
  bool LoadLearned(std::span<const StationKey> keys,
                   std::vector<std::optional<LearnedStation>>* stations) override {
    return storage_->LoadLearned(keys, stations);
  }
  bool StoreLearned(std::span<const LearnedStation> stations) override {
    return storage_->StoreLearned(stations);
  }
  bool Learn(std::span<const StationKey> keys, const Update& update) override {
    return storage_->Learn(keys, update);
  }
  std::optional<StorageCounts> Counts() override { return storage_->Counts(); }
  const std::string& error() const override { return storage_->error(); }

 private:
  std::unique_ptr<Storage> storage_;
  WorkerRecord* record_;
};

}  // namespace kesu_server

#endif  // SERVER_COUNTING_STORAGE_H_

// Files to be imported: whatever is in them, each line is taken, passed over or rejected, and what
// is taken makes sense. The first byte chooses the format.
#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/byte_script.h"
#include "server/import/file_import.h"
#include "server/import/formats.h"
#include "server/import/line_reader.h"

namespace {

using namespace kesu_fuzz;
using namespace kesu_server;

/// Hands out a text in pieces, so that lines are cut anywhere.
class TextSource final : public ByteSource {
 public:
  explicit TextSource(std::string_view text) : text_(text) {}

  std::ptrdiff_t Read(char* bytes, std::size_t size) override {
    constexpr std::size_t kPiece = 7;
    const std::size_t length = text_.copy(bytes, std::min(size, kPiece));
    text_.remove_prefix(length);
    return static_cast<std::ptrdiff_t>(length);
  }
  std::string error() const override { return {}; }

 private:
  std::string_view text_;
};

class CheckingSink final : public RecordSink {
 public:
  void TakeStation(const StationRecord& station) override {
    Require(IsOnEarth(station.position) && station.radius_m >= 0 && station.samples >= 1 &&
            std::isfinite(station.radius_m) && station.weight > 0 && station.updated >= 0);
    if (station.key.is_access_point()) {
      Require(AccessPointKey(MacAddressOf(station.key)) == station.key);
    } else {
      Require(CellKey(CellOf(station.key)) == station.key);
    }
  }
  void TakePlace(std::int64_t id, const Place& place) override {
    Require(id > 0 && IsOnEarth(place.position) && !place.name.empty());
  }
  void TakeAddress(std::int64_t id, const Address& address) override {
    Require(id >= 0 && IsOnEarth(address.position) && !address.street.empty());
  }
  void TakeLessons(const std::vector<Lesson>& lessons) override {
    Require(!lessons.empty());
    for (const Lesson& lesson : lessons) {
      const double weight = WeightOf(lesson);
      Require(IsOnEarth(lesson.position) && weight >= 0 && weight <= 10 && lesson.time >= 0);
    }
  }
};

std::unique_ptr<LineFormat> NewFormat(int kind, const PlaceNames* names) {
  switch (kind) {
    case 0:
      return NewCellFormat();
    case 1:
      return NewWifiFormat();
    case 2:
      return NewReportFormat();
    case 3:
      return NewPlaceFormat("P", names);
    default:
      return NewAddressFormat("");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ByteScript script(bytes, size);
  PlaceNames names;
  const auto format = NewFormat(script.Pick(5), &names);
  TextSource source(script.TakeRest());
  // Short, so that lines can be too long.
  constexpr std::size_t kMaxLine = 600;
  LineReader lines(&source, kMaxLine);
  CheckingSink sink;
  ImportResult result;
  while (lines.Next()) {
    names.ReadRegion(lines.line());
    names.ReadCountry(lines.line());
    CountLine(lines.line(), lines.is_too_long(), "f", lines.number(), format.get(), &sink, &result);
  }
  format->ReadEnd(&sink);
  Require(result.lines == lines.number());
  Rejections again;
  Require(again.Restore(result.rejected.Save()) && again.count() == result.rejected.count());
  return 0;
}

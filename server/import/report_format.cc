#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "server/import/formats.h"
#include "server/services/json_reports.h"

namespace kesu_server {
namespace {

/// The text of a document is held in memory.
constexpr std::size_t kMaxDocumentBytes = std::size_t{64} << 20;

/// Whether a line that is no JSON by itself begins a document.
bool BeginsDocument(std::string_view line) {
  const auto skip_spaces = [&] {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  };
  skip_spaces();
  if (!line.starts_with('{')) return false;
  line.remove_prefix(1);
  skip_spaces();
  return line.empty() || line.starts_with("\"items\"");
}

/// One value a line; or one document over all lines.
class ReportFormat final : public LineFormat {
 public:
  std::size_t max_line_bytes() const override { return kMaxDocumentBytes; }

  LineResult ReadLine(std::string_view line, RecordSink* sink) override {
    if (is_document_) return Collect(line);
    const bool is_first = std::exchange(is_first_, false);
    const LineResult result = Read(line, sink);
    is_document_ = is_first && is_damaged_ && BeginsDocument(line);
    return is_document_ ? Collect(line) : result;
  }

  LineResult ReadEnd(RecordSink* sink) override {
    const bool is_document = std::exchange(is_document_, false);
    is_first_ = true;
    if (std::exchange(is_too_long_, false)) return Rejected("a document of more than 64 MiB");
    return is_document ? Read(std::exchange(document_, {}), sink) : LineResult();
  }

  std::map<std::string_view, std::int64_t> TakeFaults() override {
    return std::exchange(faults_, {});
  }

 private:
  LineResult Read(std::string_view text, RecordSink* sink) {
    std::optional<Reports> reports = ReadReports(text);
    is_damaged_ = !reports;
    if (!reports) return Rejected("no JSON");
    for (const std::vector<Lesson>& lessons : reports->lessons) sink->TakeLessons(lessons);
    faults_ = std::move(reports->faults);
    return {};
  }

  LineResult Collect(std::string_view line) {
    is_too_long_ = is_too_long_ || document_.size() + line.size() >= kMaxDocumentBytes;
    if (is_too_long_) {
      document_.clear();
    } else {
      document_.append(line).append(1, '\n');
    }
    return {};
  }

  bool is_first_ = true;
  bool is_damaged_ = false;
  bool is_document_ = false;
  bool is_too_long_ = false;
  std::string document_;
  std::map<std::string_view, std::int64_t> faults_;
};

}  // namespace

std::unique_ptr<LineFormat> NewReportFormat() {
  return std::make_unique<ReportFormat>();
}

}  // namespace kesu_server

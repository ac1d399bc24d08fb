#include "server/import/report_import.h"

#include <cstdint>
#include <ctime>
#include <functional>

#include "server/import/file_import.h"
#include "server/import/import_mark.h"
#include "server/learn/write_lessons.h"

namespace kesu_server {
namespace {

/// Learns what it takes, but for the reports that were learned before.
class LearningSink final : public RecordSink {
 public:
  LearningSink(Storage* storage, ImportMark* mark, std::size_t lessons_in_transaction)
      : storage_(storage),
        mark_(mark),
        lessons_in_transaction_(lessons_in_transaction),
        learned_before_(mark->reports()) {}

  void TakeLessons(const std::vector<Lesson>& lessons) override {
    if (++reports_ <= learned_before_ || failed()) return;
    waiting_.insert(waiting_.end(), lessons.begin(), lessons.end());
    if (waiting_.size() >= lessons_in_transaction_) {
      Write([this] { return mark_->Move(reports_); });
    }
  }

  bool Finish() {
    Write([this] { return mark_->Remove(); });
    return !failed();
  }

  std::int64_t reports() const { return reports_; }
  bool failed() const { return !error_.empty(); }
  const std::string& error() const { return error_; }

 private:
  void Write(const std::function<bool()>& move_mark) {
    GroupByStation(&waiting_);
    bool is_marked = true;
    const auto mark = [&] { return is_marked = move_mark(); };
    if (!WriteLessons(waiting_, std::time(nullptr), storage_, mark)) {
      error_ = is_marked ? storage_->error() : "the same files are being imported by another";
    }
    waiting_.clear();
  }

  Storage* storage_;
  ImportMark* mark_;
  std::size_t lessons_in_transaction_;
  std::int64_t learned_before_;
  std::int64_t reports_ = 0;
  std::vector<Lesson> waiting_;
  std::string error_;
};

}  // namespace

bool ImportReports(const std::vector<std::string>& files, LineFormat* format,
                   const DataStore& store, const ImportProgress& progress, ImportResult* result,
                   std::string* error, std::size_t lessons_in_transaction) {
  ImportMark mark(IdentityOf(files), store);
  result->was_resumed = mark.reports() > 0;
  LearningSink sink(StorageOf(store), &mark, lessons_in_transaction);
  const auto after_line = [&](std::int64_t) { return !sink.failed(); };
  for (const std::string& file : files) {
    if (!ReadFile(file, format, &sink, progress, after_line, result, error)) break;
  }
  if (error->empty() && !sink.failed()) sink.Finish();
  if (error->empty()) *error = sink.error();
  result->records = sink.reports();
  return error->empty();
}

}  // namespace kesu_server

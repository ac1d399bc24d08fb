#include "server/import/file_import.h"

#include <sys/stat.h>

#include "server/import/line_reader.h"

namespace kesu_server {
namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
/// How often the progress is told.
constexpr std::int64_t kLinesPerProgress = 16'384;

void Count(const LineResult& what, const std::string& file, std::int64_t number, LineFormat* format,
           ImportResult* result) {
  if (!what.reason.empty()) {
    (what.is_passed_over ? result->passed_over : result->rejected).Add(what.reason, file, number);
  }
  for (const auto& [reason, count] : format->TakeFaults()) {
    result->rejected.Add(reason, file, number, count);
  }
}

}  // namespace

void CountLine(std::string_view line, bool is_too_long, const std::string& file,
               std::int64_t number, LineFormat* format, RecordSink* sink, ImportResult* result) {
  if (number == 1 && line.starts_with(kByteOrderMark)) line.remove_prefix(kByteOrderMark.size());
  ++result->lines;
  if (is_too_long) {
    Count(Rejected("the line is too long"), file, number, format, result);
  } else if (!line.empty()) {
    Count(format->ReadLine(line, sink), file, number, format, result);
  }
}

std::string IdentityOf(const std::vector<std::string>& files) {
  std::string identity;
  for (const std::string& file : files) {
    struct stat about = {};
    if (stat(file.c_str(), &about) != 0 || !S_ISREG(about.st_mode)) return {};
    identity += file + '\n' + std::to_string(about.st_size) + '\n' +
                std::to_string(about.st_mtim.tv_sec) + '\n' +
                std::to_string(about.st_mtim.tv_nsec) + '\n';
  }
  return identity;
}

bool ReadFile(const std::string& path, LineFormat* format, RecordSink* sink,
              const ImportProgress& progress,
              const std::function<bool(std::int64_t line)>& after_line, ImportResult* result,
              std::string* error) {
  InputFile file;
  if (!file.Open(path)) {
    *error = file.error();
    return false;
  }
  LineReader lines(&file, format->max_line_bytes());
  while (lines.Next()) {
    CountLine(lines.line(), lines.is_too_long(), path, lines.number(), format, sink, result);
    if (lines.number() % kLinesPerProgress == 0) progress(file.position(), file.size());
    if (!after_line(lines.number())) return false;
  }
  if (lines.failed()) {
    *error = file.error();
    return false;
  }
  Count(format->ReadEnd(sink), path, lines.number(), format, result);
  progress(file.position(), file.size());
  return true;
}

}  // namespace kesu_server

#include "tools/kesu/map_file.h"

#include <cstddef>

#include <glib.h>
#include <glib/gstdio.h>
#include <unistd.h>

#include "kesu/common/base/assertions.h"

#include "web/answers_page.h"

namespace kesu_tool {

bool CanWriteMap(const std::string& path, std::string* error) {
  char* const folder = g_path_get_dirname(path.c_str());
  const bool can_create = g_access(folder, W_OK | X_OK) == 0;
  g_free(folder);
  const bool is_there = g_file_test(path.c_str(), G_FILE_TEST_EXISTS) != FALSE;
  const bool is_file = g_file_test(path.c_str(), G_FILE_TEST_IS_REGULAR) != FALSE;
  // What it takes the place of would be lost.
  if (can_create && (is_file || !is_there)) return true;
  *error = "the map cannot be written to \"" + path + "\"";
  return false;
}

void MapFile::Add(std::string_view map) {
  maps_ += maps_.empty() ? "\n" : ",\n";
  maps_ += map;
}

bool MapFile::Write(std::string* error) const {
  const std::string_view page = AnswersPage().front().content;
  const std::size_t mark = page.find(kAnswersMark);
  GWASSERT(mark != std::string_view::npos);
  std::string content(page.substr(0, mark));
  content.append("[").append(maps_).append("\n]");
  content.append(page.substr(mark + std::string_view(kAnswersMark).size()));

  constexpr int kMode = 0666;
  GError* failure = nullptr;
  const bool ok =
      g_file_set_contents_full(path_.c_str(), content.data(), static_cast<gssize>(content.size()),
                               G_FILE_SET_CONTENTS_CONSISTENT, kMode, &failure) != FALSE;
  if (ok) return true;
  *error = failure->message;
  g_error_free(failure);
  return false;
}

}  // namespace kesu_tool

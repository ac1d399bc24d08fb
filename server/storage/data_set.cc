#include "server/storage/data_set.h"

#include <glib.h>

namespace kesu_server {
namespace {

std::optional<DataFile> ReadDataFile(const std::string& directory, const char* name,
                                     std::string* error) {
  DataFile file;
  file.name = directory + "/" + name;
  char* contents = nullptr;
  gsize length = 0;
  GError* failure = nullptr;
  if (g_file_get_contents(file.name.c_str(), &contents, &length, &failure) == FALSE) {
    *error = failure->message;
    g_error_free(failure);
    return std::nullopt;
  }
  file.text.assign(contents, length);
  g_free(contents);
  return file;
}

}  // namespace

std::optional<DataSet> ReadDataDirectory(const std::string& directory, std::string* error) {
  auto places = ReadDataFile(directory, "places.tsv", error);
  if (!places) return std::nullopt;
  auto cells = ReadDataFile(directory, "cells.tsv", error);
  if (!cells) return std::nullopt;
  auto access_points = ReadDataFile(directory, "access_points.tsv", error);
  if (!access_points) return std::nullopt;
  return DataSet{*std::move(places), *std::move(cells), *std::move(access_points)};
}

}  // namespace kesu_server

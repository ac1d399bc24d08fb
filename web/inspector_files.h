#ifndef WEB_INSPECTOR_FILES_H_
#define WEB_INSPECTOR_FILES_H_

#include <span>

#include "tools/support/embedded_file.h"

/// The inspector's page, "index.html", and what it loads, by names relative to it.
std::span<const EmbeddedFile> InspectorFiles();

#endif  // WEB_INSPECTOR_FILES_H_

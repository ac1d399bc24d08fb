#include "dovi/trace.h"

#include <cstdarg>
#include <cstdio>

#include <glib.h>

#include "dovi/deployment_settings.h"

void DoviTrace(const char* format, ...) {
  const DoviDeploymentSettings& settings = GetDoviDeploymentSettings();
  if (settings.trace == DoviTraceTarget::kNowhere) return;
  std::va_list args;
  va_start(args, format);
  if (settings.trace == DoviTraceTarget::kCallback) {
    // In one piece, however long the URLs in it are.
    char* text = g_strdup_vprintf(format, args);
    settings.trace_callback(text, settings.trace_closure);
    g_free(text);
  } else {
    std::vprintf(format, args);
  }
  va_end(args);
}

void DoviTraceToStandardError(const char* text) {
  if (GetDoviDeploymentSettings().trace == DoviTraceTarget::kStandardOutput) {
    std::fputs(text, stderr);
  } else {
    DoviTrace("%s", text);
  }
}

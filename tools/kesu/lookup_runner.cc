#include "tools/kesu/lookup_runner.h"

#include <csignal>
#include <vector>

#include <glib-unix.h>

namespace kesu_tool {
namespace {

/// As a shell without job control starts what runs in the background.
bool IsIgnored(int signal) {
  struct sigaction action = {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

LookupRunner::LookupRunner() : loop_(g_main_loop_new(nullptr, FALSE)) {}

LookupRunner::~LookupRunner() {
  g_main_loop_unref(loop_);
}

int LookupRunner::Run(std::span<const std::unique_ptr<Lookup>> lookups, int timeout_ms) {
  for (const auto& lookup : lookups) {
    if (lookup->Start([this] { OnLookupEnded(); })) ++running_;
  }
  std::vector<unsigned> sources = {
      g_timeout_add(static_cast<unsigned>(timeout_ms), OnTimeout, this)};
  if (!IsIgnored(SIGINT)) sources.push_back(g_unix_signal_add(SIGINT, OnSignal<SIGINT>, this));
  if (!IsIgnored(SIGTERM)) sources.push_back(g_unix_signal_add(SIGTERM, OnSignal<SIGTERM>, this));
  if (running_ > 0) g_main_loop_run(loop_);
  for (const unsigned source : sources) g_source_remove(source);
  return signal_;
}

void LookupRunner::OnLookupEnded() {
  if (--running_ == 0) g_main_loop_quit(loop_);
}

gboolean LookupRunner::OnTimeout(void* runner) {
  g_main_loop_quit(static_cast<LookupRunner*>(runner)->loop_);
  return G_SOURCE_CONTINUE;
}

template <int kSignal>
gboolean LookupRunner::OnSignal(void* runner) {
  static_cast<LookupRunner*>(runner)->signal_ = kSignal;
  g_main_loop_quit(static_cast<LookupRunner*>(runner)->loop_);
  return G_SOURCE_CONTINUE;
}

}  // namespace kesu_tool

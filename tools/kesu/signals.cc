#include "tools/kesu/signals.h"

#include <csignal>
#include <utility>

#include <glib-unix.h>

namespace kesu_tool {
namespace {

/// What a shell reports of a process that a signal ended.
constexpr int kSignalExitStatus = 128;

bool IsIgnored(int signal) {
  struct sigaction action = {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

SignalWatch::SignalWatch(std::function<void(int)> on_signal) : on_signal_(std::move(on_signal)) {
  Watch(SIGINT, OnSignal<SIGINT>);
  Watch(SIGTERM, OnSignal<SIGTERM>);
}

SignalWatch::~SignalWatch() {
  for (const unsigned source : sources_) g_source_remove(source);
}

void SignalWatch::Watch(int signal, GSourceFunc on_signal) {
  if (!IsIgnored(signal)) sources_.push_back(g_unix_signal_add(signal, on_signal, this));
}

template <int kSignal>
gboolean SignalWatch::OnSignal(void* watch) {
  static_cast<SignalWatch*>(watch)->on_signal_(kSignal);
  return G_SOURCE_CONTINUE;
}

int EndBySignal(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  return kSignalExitStatus + signal;
}

}  // namespace kesu_tool

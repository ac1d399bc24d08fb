#include "client/main_loop.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <utility>
#include <vector>

#include <glib-unix.h>
#include <glib.h>

#include "client/loop.h"

namespace kesu {
namespace {

gboolean RunAction(void* action) noexcept {
  (*static_cast<std::function<void()>*>(action))();
  return G_SOURCE_CONTINUE;
}

void DeleteAction(void* action) {
  delete static_cast<std::function<void()>*>(action);
}

}  // namespace

class __attribute__((visibility("hidden"))) MainLoop::Implementation {
 public:
  Implementation() = default;
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;
  ~Implementation() {
    for (GSource* source : sources_) {
      g_source_destroy(source);
      g_source_unref(source);
    }
  }

  void Add(GSource* source, std::function<void()> action) {
    auto* copy = new std::function<void()>(std::move(action));
    g_source_set_callback(source, RunAction, copy, DeleteAction);
    g_source_attach(source, nullptr);
    sources_.push_back(source);
  }

  void Run() {
    detail::LoopHold hold;
    if (!hold.is_held()) return;
    hold.BecomeLong();
    while (!has_quit_.exchange(false)) g_main_context_iteration(nullptr, TRUE);
  }

  void Quit() {
    has_quit_ = true;
    g_main_context_wakeup(nullptr);
  }

 private:
  std::atomic<bool> has_quit_ = false;
  std::vector<GSource*> sources_;
};

MainLoop::MainLoop() : implementation_(std::make_unique<Implementation>()) {}
MainLoop::~MainLoop() = default;

void MainLoop::Run() {
  implementation_->Run();
}

void MainLoop::Quit() {
  implementation_->Quit();
}

void MainLoop::Every(std::chrono::milliseconds interval, std::function<void()> action) {
  const auto milliseconds = std::clamp<std::int64_t>(interval.count(), 0, G_MAXUINT);
  implementation_->Add(g_timeout_source_new(static_cast<guint>(milliseconds)), std::move(action));
}

void MainLoop::OnInterrupt(std::function<void()> action) {
  implementation_->Add(g_unix_signal_source_new(SIGINT), std::move(action));
}

}  // namespace kesu

// The contracts whose breach ends the process.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <doctest/doctest.h>
#include <fcntl.h>
#include <glib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dovi/curl_overrides.h"
#include "dovi/glibcurl.h"

namespace {

/// Runs `deed` in a child process; its standard error if it was aborted, otherwise nothing.
std::string LastWordsOf(void (*deed)()) {
  int pipe_ends[2];
  REQUIRE(pipe(pipe_ends) == 0);
  std::fflush(nullptr);
  const pid_t child = fork();
  REQUIRE(child >= 0);
  if (child == 0) {
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    std::signal(SIGABRT, SIG_DFL);
    dup2(pipe_ends[1], STDERR_FILENO);
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    deed();
    _exit(0);
  }
  close(pipe_ends[1]);
  std::string text;
  char buffer[512];
  for (ssize_t length; (length = read(pipe_ends[0], buffer, sizeof(buffer))) > 0;) {
    text.append(buffer, static_cast<std::size_t>(length));
  }
  close(pipe_ends[0]);
  int status = 0;
  REQUIRE(waitpid(child, &status, 0) == child);
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT ? text : "";
}

char source_mark;

GSource* InitialisedSource() {
  glibcurl_init();
  glibcurl_set_callback([](void*) {}, &source_mark);
  return g_main_context_find_source_by_user_data(nullptr, &source_mark);
}

/// The functions of the source, and another source to call them with.
const GSourceFuncs* Functions() {
  return InitialisedSource()->source_funcs;
}

GSource* OtherSource() {
  return g_idle_source_new();
}

struct Case {
  int line;
  const char* function;
  const char* condition;
  void (*deed)();
};

const Case kCases[] = {
    {410, "glibcurl_add", "curlSrc->multiHandle != 0", [] { glibcurl_add(nullptr); }},
    {410, "glibcurl_add", "curlSrc->multiHandle != 0",
     [] {
       curl_overrides.multi_init_fails = true;
       glibcurl_init();
       glibcurl_add(nullptr);
     }},
    {420, "glibcurl_remove", "curlSrc != 0", [] { glibcurl_remove(nullptr); }},
    {421, "glibcurl_remove", "curlSrc->multiHandle != 0",
     [] {
       curl_overrides.multi_init_fails = true;
       glibcurl_init();
       glibcurl_remove(nullptr);
     }},
    {422, "glibcurl_remove", "s_numEasyHandles > 0",
     [] {
       glibcurl_init();
       CURL* easy = curl_easy_init();
       glibcurl_add(easy);
       glibcurl_remove(easy);
       glibcurl_remove(easy);
     }},
    {477, "registerUnregisterFds", "curlSrc->fdMax >= -1 && curlSrc->fdMax <= 1023",
     [] {
       glibcurl_init();
       curl_overrides.highest_descriptor = 1024;
       g_main_context_iteration(nullptr, FALSE);
     }},
    {477, "registerUnregisterFds", "curlSrc->fdMax >= -1 && curlSrc->fdMax <= 1023",
     [] {
       glibcurl_init();
       curl_overrides.highest_descriptor = -2;
       g_main_context_iteration(nullptr, FALSE);
     }},
    {523, "prepare", "source == &curlSrc->source",
     [] {
       gint timeout = 0;
       Functions()->prepare(OtherSource(), &timeout);
     }},
    {564, "check", "source == &curlSrc->source", [] { Functions()->check(OtherSource()); }},
    {615, "dispatch", "source == &curlSrc->source",
     [] { Functions()->dispatch(OtherSource(), nullptr, nullptr); }},
    {616, "dispatch", "curlSrc->multiHandle != 0",
     [] {
       curl_overrides.multi_init_fails = true;
       GSource* source = InitialisedSource();
       source->source_funcs->dispatch(source, nullptr, nullptr);
     }},
    {635, "finalize", "source == &curlSrc->source", [] { Functions()->finalize(OtherSource()); }},
    {635, "finalize", "source == &curlSrc->source",
     [] {
       // Somebody else still holds the source when it is cleaned up.
       GSource* source = g_source_ref(InitialisedSource());
       glibcurl_cleanup();
       g_source_unref(source);
     }},
};

}  // namespace

TEST_CASE("the assertions of the curl source") {
  for (const Case& c : kCases) {
    CAPTURE(c.line);
    const std::string expected = "Src/dovi/glibcurl:" + std::to_string(c.line) + ": " + c.function +
                                 ": Assertion `" + c.condition + "' failed.";
    const std::string words = LastWordsOf(c.deed);
    CAPTURE(words);
    CHECK(words.find(expected) != std::string::npos);
  }
}

TEST_CASE("what is said at the start") {
  const std::string words = LastWordsOf([] {
    glibcurl_init();
    std::abort();
  });
  CHECK(words == " in glibcurl_inithhh g_source_new is not NULl  \n");
}

"""The installed library: what it exports, and its headers."""

import concurrent.futures
import os
import re
import unittest

from installation import CXX, Installation, run

OWN_NAMES = {
    "common_base", "common_kesu", "common_net_proto", "lbs", "terrabase",
    "DeferredRequestSource", "DoviDeploymentSettings", "DoviHttpRequest", "DoviHttpRequestFactory",
    "GStringHeaderFieldIterator", "HeaderFieldIterator", "HeaderFieldIteratorInterface",
    "HttpRequestFactory", "HttpRequestInterface", "HttpUtils", "KesuRequestBuilder",
    "KesuResponseParser", "ProtoUtil",
    "GetDoviDeploymentSettings", "SetDoviDeploymentSettings", "UInt32ToVarint",
    "WriteDoviServiceUrl",
    "glibcurl_add", "glibcurl_cleanup", "glibcurl_handle", "glibcurl_init", "glibcurl_remove",
    "glibcurl_set_callback", "glibcurl_start",
}

# A mangled name up to the length of the outermost scope or name: a virtual table, type information,
# a guard, a thunk, something local to a function, something nested, or a plain function. Those of
# the namespace std have no length there.
OUTERMOST = re.compile(r"_Z(?:T[VIS]|GV|T[hv]n?\d+_(?:n?\d+_)?)?Z?(?:N[VK]*[RO]?)?(\d+)(\w+)")

LOG_SINK = """
#include "kesu/common/base/logging.h"

static int lines = 0;

void common_base::LogInternal(const GString&) { ++lines; }

int main() {
  common_base::SetLogLevel(common_base::kLogErrors);
  common_base::LogErrorInternal("a line");
  return lines == 1 ? 0 : 1;
}
"""

VERSION = """
#include "kesu/version.h"

#if !KESU_CHECK_VERSION({major}, {minor}, {patch}) || !KESU_CHECK_VERSION(0, 0, 0)
#error "this version is not recognised"
#endif
#if KESU_CHECK_VERSION({major}, {minor}, {patch} + 1) || \\
    KESU_CHECK_VERSION({major}, {minor} + 1, 0) || KESU_CHECK_VERSION({major} + 1, 0, 0)
#error "a later version is taken for this one"
#endif
#if {minor} > 0 && !KESU_CHECK_VERSION({major}, {minor} - 1, {patch} + 1)
#error "the patch level of an earlier minor version counts"
#endif
static_assert(KESU_VERSION_MAJOR == {major});
constexpr char kVersion[] = KESU_VERSION;
static_assert(sizeof(kVersion) == sizeof("{major}.{minor}.{patch}"));
"""


def is_own(mangled):
    match = OUTERMOST.fullmatch(mangled)
    return match is not None and match[2][:int(match[1])] in OWN_NAMES


class LibraryTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.installation = Installation()
        cls.addClassCleanup(cls.installation.__exit__)

    def check_syntax(self, text):
        run(*CXX, "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only", "-x", "c++", "-",
            *self.installation.pkg_config("--cflags"), input=text)

    def test_only_own_names_are_exported(self):
        lines = run(os.environ["NM"], "-D", "--defined-only",
                    self.installation.libraries / "libkesu.so").splitlines()
        kinds = {name.partition("@")[0]: kind
                 for _, kind, name in (line.split() for line in lines)}
        del kinds["KESU_0"]
        self.assertEqual([name for name in kinds if not is_own(name)], [])

        # A few of each sort, lest nothing at all should pass; and a program may replace the sink.
        self.assertEqual(kinds["_ZN11common_base11LogInternalERKNS_7GStringE"], "W")
        for name in ("_Z25SetDoviDeploymentSettingsRK22DoviDeploymentSettings",
                     "_ZN22DoviHttpRequestFactoryC1Ev",
                     "_ZTVN11common_kesu15LocationServiceE",
                     "_ZTIN3lbs11GLocRequestE",
                     "_ZThn8_N11common_kesu23RequestReplyServiceBase13NewInvocationEv"):
            self.assertIn(name, kinds)

    def test_log_sink_of_the_program_wins(self):
        source = self.installation.work / "log_sink.cc"
        source.write_text(LOG_SINK, encoding="utf-8")
        run(self.installation.build_with_pkg_config(source),
            env=self.installation.environment_to_run())

    def test_every_header_compiles_alone(self):
        headers = sorted(self.installation.headers.rglob("*.h"))
        self.assertGreater(len(headers), 50)
        texts = [f'#include "{header.relative_to(self.installation.headers)}"\n' * 2
                 for header in headers]
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            list(pool.map(self.check_syntax, texts))

    def test_version(self):
        version = os.environ["KESU_PROJECT_VERSION"]
        major, minor, patch = version.split(".")
        self.check_syntax(VERSION.format(major=major, minor=minor, patch=patch))
        self.assertEqual(self.installation.pkg_config("--modversion"), [version])


if __name__ == "__main__":
    unittest.main()

"""An installation: what its library exports, and whether programs can be built with nothing else.

Everything that the installed headers include is installed too, since each compiles alone, and the
example program, built with the installed files, asks the installed kesu-server.
"""

import concurrent.futures
import os
import pathlib
import re
import shlex
import subprocess
import tempfile
import unittest

CMAKE = os.environ["CMAKE"]
CXX = [os.environ["CXX"], "-std=c++20", *shlex.split(os.environ["CXXFLAGS"])]
VERSION = os.environ["KESU_PROJECT_VERSION"]

# Far longer than anything takes; a run that needs it has hung.
PATIENCE_S = 300

# What begins with the namespace std or with that of a dependency, whatever else is in front of it: a
# virtual table, type information, a guard, a thunk, something local to a function.
FOREIGN = re.compile(r"_Z(?:T[VIS]|GV|T[hv][n\d_]+|Z)*N?[VK]*(?:S[tabsiod]|\d+(?:icu|nlohmann|__))")

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

VERSION_CHECKS = """
#include "kesu/version.h"
#if !KESU_CHECK_VERSION({0}, {1}, {2}) || !KESU_CHECK_VERSION(0, 0, 0)
#error "this version is not recognised"
#endif
static_assert(!KESU_CHECK_VERSION({0}, {1}, {2} + 1) && !KESU_CHECK_VERSION({0}, {1} + 1, 0) &&
              !KESU_CHECK_VERSION({0} + 1, 0, 0) && sizeof(KESU_VERSION) == sizeof("{0}.{1}.{2}"));
"""

PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(lookup LANGUAGES CXX)
find_package(kesu {version} REQUIRED COMPONENTS shared static)
foreach(kind IN ITEMS kesu kesu-static)
  add_executable(with-${{kind}} "{example}")
  target_link_libraries(with-${{kind}} PRIVATE kesu::${{kind}})
endforeach()
"""


def run(*command, **options):
    """Runs a command to its end, which is to be a good one, and returns what it printed."""
    result = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, timeout=PATIENCE_S, check=False,
                            **options)
    assert result.returncode == 0, f"{command} ended with {result.returncode}:\n{result.stdout}"
    return result.stdout


class InstallationTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="kesu-install-")
        cls.work = pathlib.Path(cls.enterClassContext(folder))
        cls.prefix = cls.work / "prefix"
        cls.libraries = cls.prefix / os.environ["KESU_LIBDIR"]
        run(CMAKE, "--install", os.environ["KESU_BUILD_DIR"], "--prefix", cls.prefix,
            env={name: value for name, value in os.environ.items() if name != "DESTDIR"})

    def pkg_config(self, *options):
        path = f"{self.libraries}/pkgconfig:{os.environ.get('PKG_CONFIG_PATH', '')}"
        return shlex.split(run(os.environ["PKG_CONFIG"], *options, "kesu",
                               env={**os.environ, "PKG_CONFIG_PATH": path}))

    def test_no_names_of_others_are_exported(self):
        lines = run(os.environ["NM"], "-D", "--defined-only", self.libraries / "libkesu.so")
        names = [line.split()[2].partition("@")[0] for line in lines.splitlines()]
        self.assertEqual([name for name in names if FOREIGN.match(name)], [])
        self.assertEqual([name for name in names if not name.startswith(("_Z", "KESU_0"))], [])
        # One of each sort that a program may need.
        self.assertLessEqual({"_Z25SetDoviDeploymentSettingsRK22DoviDeploymentSettings",
                              "_ZTVN11common_kesu15LocationServiceE", "_ZTIN3lbs11GLocRequestE",
                              "_ZThn8_N11common_kesu23RequestReplyServiceBase13NewInvocationEv"},
                             set(names))
        # A program may replace the sink of the log.
        self.assertIn(" W _ZN11common_base11LogInternalERKNS_7GStringE", lines)

    def test_every_header_compiles_alone_and_tells_the_version(self):
        command = [*CXX, "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only", "-x", "c++",
                   "-", *self.pkg_config("--cflags")]
        folder = self.prefix / os.environ["KESU_INCLUDEDIR"] / "kesu-1"
        texts = [f'#include "{header.relative_to(folder)}"\n' * 2 for header in folder.rglob("*.h")]
        self.assertGreater(len(texts), 50)
        texts.append(VERSION_CHECKS.format(*VERSION.split(".")))
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            list(pool.map(lambda text: run(*command, input=text), texts))

    def test_pkg_config_and_a_log_sink_of_the_program(self):
        self.assertEqual(self.pkg_config("--modversion"), [VERSION])
        program = self.work / "log_sink"
        run(*CXX, "-x", "c++", "-", "-o", program, *self.pkg_config("--cflags", "--libs"),
            input=LOG_SINK)
        run(program, env={**os.environ, "LD_LIBRARY_PATH": str(self.libraries)})

    @unittest.skipUnless(os.environ["KESU_HAS_TOOLS"] == "1", "there is no kesu-server to ask")
    def test_find_package_and_the_installed_server(self):
        (self.work / "CMakeLists.txt").write_text(
            PROJECT.format(version=VERSION, example=os.environ["KESU_EXAMPLE"]), encoding="utf-8")
        run(CMAKE, "-S", self.work, "-B", self.work, "-G", os.environ["KESU_GENERATOR"],
            f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run(CMAKE, "--build", self.work)
        server = subprocess.Popen(
            [self.prefix / os.environ["KESU_BINDIR"] / "kesu-server", "--port", "0"],
            stdout=subprocess.PIPE, text=True)
        self.addCleanup(server.communicate, timeout=PATIENCE_S)
        self.addCleanup(server.terminate)
        url = server.stdout.readline().removeprefix("listening on ").strip()
        for name, is_shared in (("with-kesu", True), ("with-kesu-static", False)):
            program = self.work / name
            self.assertEqual(b"libkesu.so.0" in program.read_bytes(), is_shared)
            # Where the cell stands that the example hears, among lines of the trace.
            self.assertRegex(run(program, url), r"(?m)^38\.7\d+, -9\.1\d+, within \d+ m$")


if __name__ == "__main__":
    unittest.main()

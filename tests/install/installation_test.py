"""An installation: what its library exports, and whether programs can be built with nothing else."""

import os
import pathlib
import re
import shlex
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).parents[2]
CMAKE = [os.environ["CMAKE"], "-G", os.environ["KESU_GENERATOR"],
         "-S", SOURCE / "tests/install/consumer", "-B"]
COMPILE = [os.environ["CXX"], *shlex.split(os.environ["CXXFLAGS"]), "-std=c++20", "-Wall", "-Wextra",
           "-Wpedantic", "-Werror", "-x", "c++", "-", "-x", "none"]
WITH_HERE = os.environ["KESU_WITH_HERE"] == "1"
WITH_GLIB = os.environ["KESU_WITH_GLIB"] == "1"
VERSION = os.environ["KESU_PROJECT_VERSION"]
SONAME = f"libkesu.so.{VERSION.rpartition('.')[0]}\0".encode()
# Those of C, and of namespace std or a dependency: tables, guards, thunks, locals of functions too.
FOREIGN = re.compile(r"(?!_Z|KESU_0)|"
                     r"_Z(?:T[VIS]|GV|T[hv][n\d_]+|Z)*N?[VK]*(?:S[tabsiod]|\d+(?:icu|nlohmann|__))")
UNLOADER = """
#include <dlfcn.h>
int main(int, char** argv) {
  void* library = dlopen(argv[1], RTLD_NOW);
  if (library == nullptr || dlclose(library) != 0) return 1;
  return dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) == nullptr ? 0 : 2;
}
"""
PROGRAM = """
static_assert(KESU_CHECK_VERSION(NOW) && !KESU_CHECK_VERSION(NOW + 1));
int lines = 0;
void common_base::LogInternal(const GString&) { ++lines; }
int main() {
  common_base::SetLogLevel(common_base::kLogErrors);
  return common_base::LogErrorInternal("a line") && lines == 1 ? 0 : 1;
}
"""


def run(*command, **options):
    """Runs a command to its end, which is to be a good one, and returns what it printed."""
    result = subprocess.run(list(map(str, command)), text=True, check=False,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)
    assert result.returncode == 0, f"{command} ended with {result.returncode}:\n{result.stdout}"
    return result.stdout


class InstallationTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory(prefix="kesu-")))
        cls.libraries = cls.work / os.environ["KESU_LIBDIR"]
        cls.programs = cls.work / os.environ["KESU_BINDIR"]
        run(CMAKE[0], "--install", os.environ["KESU_BUILD_DIR"], "--prefix", cls.work)

        folder = cls.work / os.environ["KESU_INCLUDEDIR"] / "kesu-1"
        cls.headers = {path.relative_to(folder): path.read_text(encoding="utf-8")
                       for path in folder.rglob("*.h")}

    def exported(self, *options):
        table = run(os.environ["NM"], "-D", "--defined-only", *options,
                    self.libraries / "libkesu.so")
        return re.findall(r"(?m)^\w+ (\w) (.+?)(?:@+KESU_0)?$", table)

    def test_only_names_of_the_headers_are_exported_and_the_library_can_be_unloaded(self):
        names = {name: kind for kind, name in self.exported() if name != "KESU_0"}
        self.assertEqual([name for name in names if FOREIGN.match(name)], [])
        self.assertNotIn("u", names.values())
        # A sort that the programs below do not need.
        self.assertIn("_ZThn8_N11common_kesu23RequestReplyServiceBase13NewInvocationEv", names)
        # The classes, functions and variables, without templates' and functions' arguments.
        words = set(re.findall(r"\w+", "".join(self.headers.values())))
        for _, name in self.exported("-C"):
            while name != (shorter := re.sub(r"<[^<>]*>|\[.*?\]|\(.*", "", name)):
                name = shorter
            self.assertLessEqual(set(re.findall(r"\w+", name.split()[-1])), words | {"KESU_0"})
        program = self.work / "unloader"
        run(*COMPILE, "-o", program, "-ldl", input=UNLOADER)
        run(program, self.libraries / "libkesu.so")

    def test_all_headers_and_a_log_sink_of_the_program_by_pkg_config(self):
        path = f"PKG_CONFIG_PATH={self.libraries}/pkgconfig:{os.environ.get('PKG_CONFIG_PATH', '')}"
        flags = run("env", path, os.environ["PKG_CONFIG"], "--cflags", "--libs", f"kesu = {VERSION}")
        self.assertGreater(len(self.headers), 50)
        text = "".join(f'#include "{header}"\n' for header in self.headers)
        # Every inline function and every message, with all that they need of the library.
        for header, content in self.headers.items():
            space = header.stem.partition("_")[0]
            for name in re.findall(r"class (\w+) final : public common_net_proto::", content):
                if space in ("lbs", "terrabase"):
                    name = f"{space}::{name}"
                    text += f"inline auto* New(const {name}&) {{ return new {name}; }}\n"
        self.assertGreater(text.count("inline auto* New("), 60)
        run(*COMPILE, "-fkeep-inline-functions", "-Wno-ignored-optimization-argument",
            "-o", self.work / "sink", *shlex.split(flags),
            input=text + PROGRAM.replace("NOW", VERSION.replace(".", ", ")))
        run("env", f"LD_LIBRARY_PATH={self.libraries}", self.work / "sink")

    @unittest.skipUnless(WITH_GLIB, "made without it")
    def test_the_library_for_c_exports_its_headers_and_a_program_by_pkg_config(self):
        folder = self.work / os.environ["KESU_INCLUDEDIR"] / "kesu-glib-1"
        text = "".join(path.read_text(encoding="utf-8") for path in folder.glob("*.h"))
        declared = set(re.findall(r"^[^ *#].*?(kesu_\w+)\(", text, re.MULTILINE))
        declared |= {f"{name}_get_type" for name in re.findall(r"G_DECLARE.*, (kesu_\w+),", text)}
        self.assertGreater(len(declared), 50)
        table = run(os.environ["NM"], "-D", "--defined-only", self.libraries / "libkesu-glib-1.so")
        exported = set(re.findall(r"(?m)^\w+ T (\w+)@@KESU_GLIB_1$", table))
        self.assertEqual(exported, declared)
        self.assertEqual(len(table.splitlines()), len(exported) + 1)
        path = f"PKG_CONFIG_PATH={self.libraries}/pkgconfig:{os.environ.get('PKG_CONFIG_PATH', '')}"
        flags = run("env", path, os.environ["PKG_CONFIG"], "--cflags", "--libs",
                    f"kesu-glib-1 = {VERSION}")
        run(os.environ["CC"], *shlex.split(os.environ["CFLAGS"]), "-std=c99", "-Wall", "-Wextra",
            "-Werror", "-o", self.work / "with-kesu-glib", SOURCE / "examples/locate/locate.c",
            *shlex.split(flags), f"-Wl,-rpath-link,{self.libraries}")

    def test_completion_offers_the_options_of_the_manual(self):
        for name in ("kesu", "kesu-server", "kesu-data"):
            manual = (SOURCE / f"docs/man/{name}.1").read_text(encoding="utf-8").replace("\\-", "-")
            script = self.work / "share/bash-completion/completions" / name
            offered = run("bash", "-c", '. "$1"; _kesu "$0" -- "$0"; echo "${COMPREPLY[@]}"',
                          self.programs / name, script)
            self.assertEqual(set(offered.split()), set(re.findall(r"--[a-z-]+", manual)))

    def test_a_part_of_another_project_and_find_package_and_the_server(self):
        run(*CMAKE, self.work / "whole", f"-DKESU_SOURCE={SOURCE}")
        # The program of the document.
        document = (SOURCE / "docs/here.md").read_text(encoding="utf-8")
        here = self.work / "here.cc"
        here.write_text(re.search(r"```cpp\n(.*?)```", document, re.DOTALL)[1], encoding="utf-8")
        run(*CMAKE, self.work / "parts", f"-DCMAKE_PREFIX_PATH={self.work}",
            f"-DKESU_VERSION={VERSION}", f"-DKESU_EXAMPLE={SOURCE / 'examples/lookup.cc'}",
            *[f"-DKESU_C_EXAMPLE={SOURCE / 'examples/locate/locate.c'}"] * WITH_GLIB,
            *[f"-DKESU_HERE_EXAMPLE={here}"] * WITH_HERE)
        run(CMAKE[0], "--build", self.work / "parts")
        command = [self.programs / "kesu-server", "--port", "0"]
        server = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        self.addCleanup(lambda: (server.terminate(), server.communicate()))
        url = server.stdout.readline().removeprefix("listening on ").strip()
        for program in (self.work / "parts/with-kesu", self.work / "parts/with-kesu-static"):
            self.assertEqual(SONAME in program.read_bytes(), program.name == "with-kesu")
            # Where the cell stands that the example hears, among lines of the trace.
            self.assertRegex(run(program, url), r"(?m)^38\.7\d+, -9\.1\d+, within \d+ m$")
        if WITH_HERE:
            for program in ("with-kesu-here", "with-kesu-here-static"):
                out = run("env", "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent",
                          self.work / "parts" / program)
                self.assertRegex(out, r"^no system bus: .*\nno system bus: .*\nthe observation is empty$")
            path = f"PKG_CONFIG_PATH={self.libraries}/pkgconfig:{os.environ.get('PKG_CONFIG_PATH', '')}"
            flags = run("env", path, os.environ["PKG_CONFIG"], "--cflags", "--libs",
                        f"kesu-here = {VERSION}")
            run(*COMPILE, "-o", self.work / "with-here", *shlex.split(flags),
                f"-Wl,-rpath-link,{self.libraries}", input=here.read_text(encoding="utf-8"))
        if WITH_GLIB:
            out = run("env", f"LD_LIBRARY_PATH={self.libraries}",
                      self.work / "parts/with-kesu-glib", url)
            self.assertRegex(out, r"^38\.7\d+ -9\.1\d+ ")

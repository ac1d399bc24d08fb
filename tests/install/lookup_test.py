"""The example program, built with the installed files alone, asks the installed kesu-server."""

import contextlib
import os
import re
import shutil
import subprocess
import sys
import unittest

from installation import PATIENCE_S, Installation, run

SKIPPED = 77

PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(lookup LANGUAGES CXX)
find_package(kesu {version} REQUIRED COMPONENTS shared static)
foreach(kind IN ITEMS kesu kesu-static)
  add_executable(with-${{kind}} lookup.cc)
  target_link_libraries(with-${{kind}} PRIVATE kesu::${{kind}})
endforeach()
"""

SONAME = b"libkesu.so.0"

# Where the cell that the example hears stands, and the line that tells it among trace lines.
LATITUDE, LONGITUDE = 38.7, -9.1
FOUND = re.compile(r"^(-?\d+\.\d+), (-?\d+\.\d+), within \d+ m$", re.MULTILINE)


@contextlib.contextmanager
def kesu_server(program):
    """Runs a kesu-server with its built-in data and yields its URL."""
    server = subprocess.Popen([program, "--port", "0"], stdout=subprocess.PIPE, text=True)
    try:
        prefix = "listening on "
        line = server.stdout.readline()
        assert line.startswith(prefix), f"kesu-server printed {line!r} first"
        yield line.removeprefix(prefix).strip()
    finally:
        server.terminate()
        server.communicate(timeout=PATIENCE_S)
    assert server.returncode == 0, f"kesu-server ended with status {server.returncode}"


class LookupTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.installation = Installation()
        cls.addClassCleanup(cls.installation.__exit__)
        cls.source = cls.installation.work / "lookup.cc"
        shutil.copy(os.environ["KESU_EXAMPLE"], cls.source)
        programs = cls.installation.prefix / os.environ["KESU_BINDIR"]
        cls.server_url = cls.enterClassContext(kesu_server(programs / "kesu-server"))

    def check_lookup(self, program, environment=None):
        printed = run(program, self.server_url, env=environment)
        match = FOUND.search(printed)
        self.assertIsNotNone(match, printed)
        self.assertAlmostEqual(float(match[1]), LATITUDE, delta=0.1)
        self.assertAlmostEqual(float(match[2]), LONGITUDE, delta=0.1)

    def test_pkg_config(self):
        program = self.installation.build_with_pkg_config(self.source)
        self.assertIn(SONAME, program.read_bytes())
        self.check_lookup(program, self.installation.environment_to_run())

    def test_find_package(self):
        project = self.installation.work
        version = os.environ["KESU_PROJECT_VERSION"]
        (project / "CMakeLists.txt").write_text(PROJECT.format(version=version), encoding="utf-8")
        build = project / "build"
        run(os.environ["CMAKE"], "-S", project, "-B", build, "-G", os.environ["KESU_GENERATOR"],
            f"-DCMAKE_PREFIX_PATH={self.installation.prefix}")
        run(os.environ["CMAKE"], "--build", build)
        for name, is_shared in (("with-kesu", True), ("with-kesu-static", False)):
            with self.subTest(name):
                program = build / name
                self.assertEqual(SONAME in program.read_bytes(), is_shared)
                self.check_lookup(program)


if __name__ == "__main__":
    if os.environ["KESU_HAS_TOOLS"] != "1":
        print("skipped: the programs are not built, so there is no kesu-server to ask")
        sys.exit(SKIPPED)
    unittest.main()

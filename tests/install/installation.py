"""Installs the build into a folder of its own and builds programs with what is there."""

import os
import pathlib
import shlex
import subprocess
import tempfile

CXX = [os.environ["CXX"], "-std=c++20", *shlex.split(os.environ["CXXFLAGS"])]

# Far longer than anything takes; a run that needs it has hung.
PATIENCE_S = 300


def run(*command, **options):
    """Runs a command to its end, which is to be a good one, and returns its standard output."""
    result = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, timeout=PATIENCE_S, check=False,
                            **options)
    assert result.returncode == 0, f"{command} ended with {result.returncode}:\n{result.stdout}"
    return result.stdout


class Installation:
    """An installation below a temporary folder, with room for programs beside it."""

    def __init__(self):
        self._folder = tempfile.TemporaryDirectory(prefix="kesu-install-")
        self.work = pathlib.Path(self._folder.name)
        self.prefix = self.work / "prefix"
        self.libraries = self.prefix / os.environ["KESU_LIBDIR"]
        self.headers = self.prefix / os.environ["KESU_INCLUDEDIR"] / "kesu-1"
        environment = {name: value for name, value in os.environ.items() if name != "DESTDIR"}
        run(os.environ["CMAKE"], "--install", os.environ["KESU_BUILD_DIR"],
            "--prefix", self.prefix, env=environment)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._folder.cleanup()

    def pkg_config(self, *options):
        """The words that pkg-config tells of the library."""
        path = f"{self.libraries}/pkgconfig:{os.environ.get('PKG_CONFIG_PATH', '')}"
        words = run(os.environ["PKG_CONFIG"], *options, "kesu",
                    env={**os.environ, "PKG_CONFIG_PATH": path})
        return shlex.split(words)

    def build_with_pkg_config(self, source):
        """Builds a program with the shared library and returns its path."""
        program = self.work / "with-pkg-config"
        run(*CXX, source, "-o", program, *self.pkg_config("--cflags", "--libs"))
        return program

    def environment_to_run(self):
        """Where a program finds the shared library that was told nothing about it."""
        return {**os.environ, "LD_LIBRARY_PATH": str(self.libraries)}

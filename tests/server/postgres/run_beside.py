"""Runs a program with the URL of a fresh database of PostgreSQL in KESU_TEST_DATABASE."""

import os
import subprocess
import sys

from cluster import cluster, url

with cluster() as primary:
    sys.exit(subprocess.run(sys.argv[1:], env={**os.environ, "KESU_TEST_DATABASE": url(primary)},
                            check=False).returncode)

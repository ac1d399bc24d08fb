"""kesu httptest against kesu-server and against servers that do not echo the header."""

import unittest

from programs import kesu, kesu_server
from servers import answering, free_port, silent

PASSED = "SetHeaderTest passed\nAll HTTP tests pass\n"
FAILED = "SetHeaderTest failed\n"


class HttpTest(unittest.TestCase):
    def check(self, server, expected, *options):
        run = kesu(*options, "httptest", server=server)
        self.assertEqual((run.returncode, run.stdout, run.stderr), expected)

    def test_passes(self):
        with kesu_server() as server:
            self.check(server, (0, PASSED, ""))
            traced = kesu("--trace", "httptest", server=server)
            self.assertEqual((traced.returncode, traced.stdout), (0, PASSED))
            self.assertNotEqual(traced.stderr, "")

    def test_nobody_listens(self):
        self.check(f"http://127.0.0.1:{free_port()}", (3, FAILED, ""))

    def test_gets_are_refused(self):
        # It answers POSTs alone.
        with answering(b"") as server:
            self.check(server, (3, FAILED, ""))

    def test_no_answer(self):
        with silent() as (server, _):
            self.check(server, (4, "", "kesu: no answer in time\n"), "--timeout", "0.3")

    def test_outcome_that_cannot_be_written(self):
        with kesu_server() as server, open("/dev/full", "w", encoding="utf-8") as full:
            run = kesu("httptest", server=server, stdout=full)
            self.assertEqual((run.returncode, run.stderr),
                             (3, "kesu: the results could not be written\n"))


if __name__ == "__main__":
    unittest.main()

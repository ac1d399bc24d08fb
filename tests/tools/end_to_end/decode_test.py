"""kesu decode: bodies from files and from standard input."""

import json
import os
import subprocess
import tempfile
import unittest

from programs import KESU, PATIENCE_S, kesu

# Protocol version 1, one reply block: request 7, status 200, no encodings, a GLocReply with
# status 1.
REPLY = bytes.fromhex("0001 0000000C 8100 0007 00C8 0000 00000000 0801")

TREE = """\
       0  reply, 20 bytes
       0    protocol version: 1
       2    reply block, type 0x8100, 12 bytes
       8      id: 7
      10      status: 200
      12      encodings: ""
      14      value after encodings: 0
      18      payload, 2 bytes: GLocReply
"""
FIELD = "      18        1 status: 1\n"


def decode(body, *options):
    """The exit status and both outputs of decoding `body` from standard input."""
    run = subprocess.run([KESU, *options, "decode", "-"], input=body, capture_output=True,
                         timeout=PATIENCE_S, check=False)
    return run.returncode, run.stdout.decode(), run.stderr.decode()


class Decode(unittest.TestCase):
    def test_a_file_and_standard_input(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("reply.bin", "-5", " reply"):
                with open(os.path.join(folder, name), "wb") as file:
                    file.write(REPLY)
                run = subprocess.run([KESU, "decode", "--", name], cwd=folder, text=True,
                                     capture_output=True, timeout=PATIENCE_S, check=False)
                self.assertEqual((run.returncode, run.stdout, run.stderr), (0, TREE + FIELD, ""))
        self.assertEqual(decode(REPLY), (0, TREE + FIELD, ""))

    def test_malformed(self):
        message = "reply block: the length is 12, but there are 11 bytes"
        error = f"kesu: standard input, offset 2: {message}\n"
        tree = TREE.replace("20 bytes", "19 bytes").replace("2 bytes: GLoc", "1 bytes: GLoc")
        self.assertEqual(decode(REPLY[:-1]), (5, tree, error))
        status, output, json_error = decode(REPLY[:-1], "--json")
        self.assertEqual((status, json_error), (5, error))
        self.assertEqual(json.loads(output)["error"], {"offset": 2, "message": message})

    def test_unreadable(self):
        for name in ("/nonexistent", "/"):
            run = kesu("decode", name)
            self.assertEqual((run.returncode, run.stdout), (2, ""))
            self.assertRegex(run.stderr, rf'\Akesu: "{name}" cannot be read: .+\n\Z')

    def test_output_that_cannot_be_written(self):
        with tempfile.NamedTemporaryFile() as file, open("/dev/full", "wb") as full:
            file.write(REPLY)
            file.flush()
            run = kesu("decode", file.name, stdout=full)
            self.assertEqual((run.returncode, run.stderr),
                             (3, "kesu: the results could not be written\n"))

    def test_megabytes(self):
        # 2 MB of empty location elements.
        count = 1 << 20
        block = bytes.fromhex("8100 0007 00C8 0000 00000000") + b"\x12\x00" * count
        body = b"\x00\x01" + (len(block) - 2).to_bytes(4, "big") + block
        status, output, error = decode(body)
        self.assertEqual((status, error), (0, ""))
        self.assertEqual(output.count("2 replyelements, 0 bytes: GLocReplyElement\n"), count)


if __name__ == "__main__":
    unittest.main()

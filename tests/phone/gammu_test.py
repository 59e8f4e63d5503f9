"""Debian's gammu, an independent AT client, against the emulated phone: if gammu can
identify it, send through it and read its storages, the phone is not only shaped to the
plug-in's own expectations."""

import os
import shutil
import subprocess
import sys
import unittest

from phone_harness import Phone

SKIP = 77  # ctest SKIP_RETURN_CODE

CONFIG = """
manufacturer = TARNIK
imei = 350000000000006
[storage SM]
deliver = 0 +48601234567 Hello from the SIM
[storage ME]
deliver = 1 +48609999888 Kept in the phone
"""


class GammuTest(unittest.TestCase):
    def setUp(self):
        self.phone = Phone(CONFIG)
        self.addCleanup(self.phone.close)
        self.rc = os.path.join(self.phone.dir, "gammurc")
        with open(self.rc, "w") as f:
            f.write("[gammu]\ndevice = %s\nconnection = at\n" % self.phone.link)

    def gammu(self, *args):
        result = subprocess.run(["gammu", "-c", self.rc] + list(args), capture_output=True,
                                text=True, timeout=60)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        return result.stdout

    def test_identify(self):
        out = self.gammu("identify")
        self.assertRegex(out, r"Manufacturer\s*: TARNIK")
        self.assertRegex(out, r"IMEI\s*: 350000000000006")

    def test_sendsms(self):
        out = self.gammu("sendsms", "TEXT", "123456", "-text", "hello")
        self.assertIn("message reference=1", out)
        self.assertIn("SUBMIT to=123456 srr=0 text=hello", self.phone.log())

    def test_getallsms(self):
        out = self.gammu("getallsms")
        self.assertIn("Hello from the SIM", out)
        self.assertIn("Kept in the phone", out)
        self.assertIn('"+48609999888"', out)
        self.assertIn("RX AT+CMGL=4", self.phone.log())


if __name__ == "__main__":
    if shutil.which("gammu") is None:
        print("gammu is not installed (apt-get install gammu); skipping")
        sys.exit(SKIP)
    unittest.main()

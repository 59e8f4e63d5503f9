"""Debian's gammu, an independent AT client, against the emulated phone: if gammu can
identify it, send through it and read its storages, the phone is not only shaped to the
plug-in's own expectations."""

import os
import shutil
import subprocess
import sys
import unittest

from phone_session_test import PROGRAM
from wine_phone import started_phone

CONFIG = """
manufacturer = TARNIK
imei = 350000000000006
[storage SM]
deliver = 0 +48601234567 Hello from the SIM
[storage ME]
deliver = 1 +48609999888 Kept in the phone
"""


class GammuTest(unittest.TestCase):
    def test_identify_send_and_list(self):
        phone = self.enterContext(started_phone(PROGRAM, CONFIG))
        rc = os.path.join(phone.work, "gammurc")
        with open(rc, "w") as f:
            f.write("[gammu]\ndevice = %s\nconnection = at\n" % phone.link)

        def gammu(*args):
            result = subprocess.run(["gammu", "-c", rc, *args], capture_output=True, text=True,
                                    timeout=60)
            self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
            return result.stdout

        self.assertRegex(gammu("identify"),
                         r"Manufacturer\s*: TARNIK\n(.*\n)*IMEI\s*: 350000000000006")
        self.assertIn("message reference=1", gammu("sendsms", "TEXT", "123456", "-text", "hello"))
        listing = gammu("getallsms")
        for text in ("Hello from the SIM", "Kept in the phone", '"+48609999888"'):
            self.assertIn(text, listing)
        self.assertIn("SUBMIT to=123456 srr=0 text=hello", phone.log())
        self.assertIn("RX AT+CMGL=4", phone.log())


if __name__ == "__main__":
    if shutil.which("gammu") is None:
        print("gammu is not installed (apt-get install gammu); skipping")
        sys.exit(77)  # ctest SKIP_RETURN_CODE
    unittest.main()

"""The emulated phone over its pty, driven as the plug-in and other clients drive a phone. The
dialogues are transcripts in tests/data/phone_sessions.txt; what a transcript cannot say (reports
that come later, floods, a pty that closes, timing) is tested here."""

import os
import re
import time
import unittest

from phone_harness import Phone, decode, encode

RECIPIENT = "48601234567"
CDS = re.compile(rb"\r\n\+CDS: (\d+)\r\n([0-9A-F]+)\r\n")
SESSIONS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data",
                        "phone_sessions.txt")
FRAMES = {"<": (b"\r\n", b"\r\n"), "|": (b"", b"\r\n"), "<:": (b"", b"")}


def unescape(text):
    return text.encode("latin-1").decode("unicode_escape").encode("latin-1")


def read_sessions(path):
    """(title, config lines, steps) per case; a step is [sent, echoed, answer] or
    [None, log line]."""
    cases = []
    with open(path, encoding="utf-8") as f:
        for line in f.read().splitlines():
            if not line.strip() or line.startswith("#"):
                continue
            if line.startswith("== "):
                cases.append((line[3:], [], []))
                continue
            _, config, steps = cases[-1]
            kind, _, text = line.partition(" ")
            if kind in (">", ">>"):
                steps.append([unescape(text), kind == ">>", b""])
            elif kind == "log":
                steps.append([None, text])
            elif kind in FRAMES:
                before, after = FRAMES[kind]
                steps[-1][2] += before + unescape(text) + after
            else:
                config.append(line)
    return cases


class PhoneTest(unittest.TestCase):
    CONFIG = ""

    def setUp(self):
        self.phone = Phone(self.CONFIG)
        self.addCleanup(self.phone.close)
        self.client = self.phone.open()
        self.addCleanup(self.client.close)


class TranscriptTest(unittest.TestCase):
    def test_transcripts(self):
        for title, config, steps in read_sessions(SESSIONS):
            with self.subTest(title):
                phone = Phone("\n".join(config) + "\n")
                self.addCleanup(phone.close)
                client = phone.open()
                self.addCleanup(client.close)
                self.walk(phone, client, steps)

    def walk(self, phone, client, steps):
        logged = -1  # the log line the last "log" step found
        for step in steps:
            if step[0] is None:
                logged = self.find_log(phone, step[1], logged)
                continue
            sent, echoed, answer = step
            data = sent if sent.endswith((b"\x1a", b"\x1b", b"\n")) else sent + b"\r"
            client.write(data)
            echo = data.rstrip(b"\x1a\x1b\n") if echoed else b""
            expected = echo + answer
            deadline = time.monotonic() + 2
            while len(client.buffer) < len(expected) and client._fill(deadline):
                pass
            got, client.buffer = client.buffer[:len(expected)], client.buffer[len(expected):]
            pattern = re.escape(echo) + re.escape(answer).replace(rb"\?", rb"[0-9A-F]")
            self.assertTrue(re.fullmatch(pattern, got),
                            "%r answered %r, not %r" % (sent, got, expected))

    def find_log(self, phone, text, after):
        deadline = time.monotonic() + 3
        while True:
            lines = phone.log()
            found = [i for i in range(after + 1, len(lines)) if lines[i].startswith(text)]
            if found:
                return found[0]
            if time.monotonic() > deadline:
                self.fail("no log line %r after line %d in %r" % (text, after, lines))
            time.sleep(0.02)


def cnmi_dialogue(client):
    """The plug-in's choice of indication mode; returns the accepted setting."""
    for setting in ("2,0,0,1,0", "1,0,0,2,1", "1,0,0,2,0"):
        if client.command("AT+CNMI=" + setting).endswith(b"\r\nOK\r\n"):
            return setting
    return None


class DirectReportTest(PhoneTest):
    CONFIG = "[report]\ndelay_ms = 400\n"

    def test_cds_carries_a_report_for_the_recipient(self):
        c = self.client
        pdu = encode(RECIPIENT, "Test", report=True, mr=33)
        self.assertIn(b"+CMGS: 1\r\n", c.submit(pdu))
        self.assertEqual(cnmi_dialogue(c), "2,0,0,1,0")
        c.write(b"AT\r\n")
        data = c.read_match(CDS, timeout=3)
        self.assertTrue(data.startswith(b"AT\r\r\nOK\r\n\r\n+CDS: "), data)
        m = CDS.search(data)
        report_pdu = m.group(2).decode()
        self.assertEqual(int(m.group(1)), len(report_pdu) // 2 - 1 - int(report_pdu[:2], 16))
        report = decode(report_pdu)
        self.assertTrue(report["decoded"])
        self.assertEqual(report["firstOctet"]["mti"], 2)
        self.assertEqual(report["address"]["number"], RECIPIENT)
        self.assertEqual(report["status"], 0)
        self.assertEqual(report["smsc"]["number"], "48601000310")
        self.assertIn("(1)", report["text"])  # TP-MR is the +CMGS reference, not the client's
        self.assertTrue(self.phone.wait_log("REPORT direct mr=1 status=0x00"))


class DirectReportWithoutSmscTest(PhoneTest):
    CONFIG = "[report]\ndelay_ms = 100\nstatus = 0x46\ncds_smsc = off\n"

    def test_report_pdu_without_smsc_field(self):
        c = self.client
        c.command("ATE0")
        c.command("AT+CNMI=1,0,0,1,0")
        c.submit(encode("123456", "x", report=True))
        m = CDS.search(c.read_match(CDS, timeout=2))
        self.assertEqual(int(m.group(1)) * 2, len(m.group(2)))
        # The plug-in puts an empty SMSC field in front of such short PDUs.
        report = decode("00" + m.group(2).decode())
        self.assertEqual((report["address"]["number"], report["status"]), ("123456", 0x46))


class StoredReportTest(PhoneTest):
    CONFIG = """
cnmi = 1,0,0,2,1
cnmi = 1,0,0,2,0
[report]
delay_ms = 400
status = 0x46
"""

    def test_cdsi_then_fetch_from_sr(self):
        c = self.client
        c.command("ATE1")
        self.assertIn(b"+CMGS: 1\r\n", c.submit(encode(RECIPIENT, "Test", report=True)))
        self.assertEqual(cnmi_dialogue(c), "1,0,0,2,1")
        c.write(b"AT\r\n")
        data = c.read_until(b'+CDSI: "SR",', timeout=3) + c.read_until(b"\r\n")
        index = int(re.search(rb'\+CDSI: "SR",(\d+)\r\n', data).group(1))
        self.assertEqual(index, 1)
        self.assertIn(b"OK", c.command('AT+CPMS="SR"'))
        reply = c.command("AT+CMGR=%d" % index)
        m = re.search(rb"\+CMGR: 0,,(\d+)\r\n([0-9A-F]+)\r\n\r\nOK\r\n", reply)
        self.assertIsNotNone(m, reply)
        report = decode(m.group(2).decode())
        self.assertEqual(report["address"]["number"], RECIPIENT)
        self.assertEqual(report["status"], 0x46)
        self.assertRegex(report["doneTime"], r"^20\d\d-\d\d-\d\d \d\d:\d\d:\d\d$")
        # Still there after reading, now as read.
        self.assertIn(b"+CMGL: 1,1,,", c.command("AT+CMGL=4"))

    def test_multipart_reports_only_the_parts_that_ask(self):
        c = self.client
        c.command("ATE0")
        c.command("AT+CNMI=1,0,0,2,1")
        first = encode(RECIPIENT, "A" * 153, concat=(9, 2, 1), report=True)
        last = encode(RECIPIENT, "tail", concat=(9, 2, 2), report=True)
        self.assertIn(b"+CMGS: 1\r\n", c.submit(first))
        self.assertIn(b"+CMGS: 2\r\n", c.submit(last))
        self.assertEqual(c.read_until(b"\r\n", 3) + c.read_until(b"\r\n"), b'\r\n+CDSI: "SR",1\r\n')
        self.assertEqual(c.read_for(0.5), b"")
        reports = self.phone.wait_log("REPORT")
        self.assertEqual(len(reports), 1)
        self.assertIn("mr=2 ", reports[0])  # the last part's reference
        self.assertIn("SUBMIT to=%s srr=1 part=2/2 ref=9 text=tail" % RECIPIENT, self.phone.log())

    def test_no_indication_with_ds_0(self):
        c = self.client
        c.command("ATE0")
        # With ds=0 the report is kept in SR but not announced.
        c.submit(encode(RECIPIENT, "Test", report=True))
        self.assertEqual(c.read_for(0.5), b"")
        self.assertTrue(self.phone.wait_log("REPORT stored SR,1"))


class LinkTest(PhoneTest):
    CONFIG = "byte_delay_us = 3000\n[fault]\ndisconnect = 1 AT+CGSN\n"

    def test_client_may_close_and_another_open(self):
        self.client.command("ATE0")
        self.client.write(b"AT+CG")  # half a line, dropped with the client
        self.client.close()
        # The line's bytes both ways: "ATE0\r" and the half line in, the echoed answer out.
        self.assertEqual(self.phone.wait_log("LINK client closed"),
                         ["LINK client closed after 10 bytes in, 11 out"])
        again = self.phone.open()
        self.addCleanup(again.close)
        # Settings survive the cable; the phone keeps its state between clients.
        self.assertEqual(again.command("AT"), b"\r\nOK\r\n")
        self.assertEqual(len(self.phone.wait_log("LINK client opened", 2)), 2)

    def test_disconnect_fault_hangs_up_mid_answer_once(self):
        c = self.client
        old_target = os.readlink(self.phone.link)
        c.write(b"AT+CGSN\r")
        half = c.read_for(1.0)
        self.assertTrue(half and b"OK" not in half, half)
        self.assertNotEqual(os.readlink(self.phone.link), old_target)
        again = self.phone.open()
        self.addCleanup(again.close)
        self.assertEqual(again.command("AT+CGSN"), b"AT+CGSN\r\r\n350000000000006\r\n\r\nOK\r\n")

    def test_byte_pacing(self):
        start = time.monotonic()
        self.assertEqual(self.client.command("AT"), b"AT\r\r\nOK\r\n")
        self.assertGreaterEqual(time.monotonic() - start, 8 * 0.003)

    def test_sigterm_removes_the_link(self):
        self.assertEqual(self.phone.stop(), 0)
        self.assertFalse(os.path.lexists(self.phone.link))


class LineFaultTest(PhoneTest):
    """Lines that hold a client: each fault fires once, and lasts until the client closes."""
    CONFIG = """
[fault]
endless_nul = 1 AT+CGMI
endless_garbage = 1 AT+CGMM
garbage_bytes = FF003F
endless_ring = 1 AT+CGMR
dead = 1 AT+CGSN
slow = 1 AT+CIMI
slow_byte_ms = 40
"""

    def reopen(self):
        self.client.close()
        self.phone.wait_log("LINK client closed", len(self.phone.wait_log("LINK client opened")))
        self.client = self.phone.open()
        self.addCleanup(self.client.close)

    def test_endless_bytes_instead_of_the_answer(self):
        cases = [("AT+CGMI", b"\0", "TARNIK"), ("AT+CGMM", b"\xff\x00\x3f", "TP-1 pty"),
                 ("AT+CGMR", b"\r\nRING\r\n", "1.0")]
        for command, pattern, answer in cases:
            c = self.client
            c.write(command.encode() + b"\r")
            echo = command.encode() + b"\r"
            deadline = time.monotonic() + 2
            while len(c.buffer) < len(echo) + 3 * 4096 and c._fill(deadline):
                pass
            data, c.buffer = c.buffer, b""
            flood = data[len(echo):]
            self.assertEqual(data[:len(echo)], echo, command)
            self.assertGreaterEqual(len(flood), 3 * 4096, command)  # more than any answer
            self.assertEqual(flood, (pattern * len(flood))[:len(flood)], command)
            self.reopen()
            self.assertIn(answer.encode(), self.client.command(command), command)
        sent = [l for l in self.phone.log() if l.startswith("LINK client closed")]
        self.assertEqual(len(sent), 3)
        self.assertTrue(all(" endless bytes sent" in l for l in sent), sent)

    def test_dead_line_keeps_the_pty(self):
        c = self.client
        target = os.readlink(self.phone.link)
        c.write(b"AT+CGSN\r")
        self.assertEqual(c.read_for(0.5), b"AT+CGSN\r\r\n3500000000")  # half, then nothing
        c.write(b"AT\r")
        self.assertEqual(c.read_for(0.5), b"")
        self.assertEqual(os.readlink(self.phone.link), target)
        self.reopen()
        self.assertEqual(self.client.command("AT+CGSN"), b"AT+CGSN\r\r\n350000000000006\r\n\r\nOK\r\n")

    def test_slow_answer_comes_byte_by_byte(self):
        c = self.client
        start = time.monotonic()
        answer = b"AT+CIMI\r\r\n260019876543210\r\n\r\nOK\r\n"
        self.assertEqual(c.command("AT+CIMI"), answer)
        self.assertGreaterEqual(time.monotonic() - start, (len(answer) - 1) * 0.04)


if __name__ == "__main__":
    unittest.main()

"""The emulated phone over its pty, driven as the plug-in and other clients drive a phone."""

import os
import re
import time
import unittest

from phone_harness import CTRL_Z, Client, Phone, decode, encode

RECIPIENT = "48601234567"
CDS = re.compile(rb"\r\n\+CDS: (\d+)\r\n([0-9A-F]+)\r\n")


class PhoneTest(unittest.TestCase):
    CONFIG = ""

    def setUp(self):
        self.phone = Phone(self.CONFIG)
        self.addCleanup(self.phone.close)
        self.client = self.phone.open()
        self.addCleanup(self.client.close)


class CommandTest(PhoneTest):
    CONFIG = "manufacturer = ACME\nmodel = M1\nimei = 490154203237518\n"

    def test_echo_follows_ate(self):
        c = self.client
        self.assertEqual(c.command("AT"), b"AT\r\r\nOK\r\n")
        self.assertEqual(c.command("ATE0"), b"ATE0\r\r\nOK\r\n")  # the line itself is echoed
        self.assertEqual(c.command("AT"), b"\r\nOK\r\n")
        self.assertEqual(c.command("AT+CMGF?"), b"\r\n+CMGF: 0\r\n\r\nOK\r\n")
        self.assertEqual(c.command("ATE1"), b"\r\nOK\r\n")
        self.assertEqual(c.command("at"), b"at\r\r\nOK\r\n")
        c.command("ATE0")
        self.assertEqual(c.command("ATZ"), b"\r\nOK\r\n")  # ATZ restores the configured echo
        self.assertEqual(c.command("AT"), b"AT\r\r\nOK\r\n")

    def test_crlf_terminator_gives_one_answer(self):
        # The plug-in ends some commands with CR LF; the LF must not start a second line.
        self.client.write(b"AT\r\n")
        self.assertEqual(self.client.read_for(0.3), b"AT\r\r\nOK\r\n")

    def test_identification_and_status(self):
        c = self.client
        c.command("ATE0")
        cases = [
            ("AT+CGMI", b"\r\nACME\r\n\r\nOK\r\n"),
            ("AT+CGMM", b"\r\nM1\r\n\r\nOK\r\n"),
            ("AT+CGSN", b"\r\n490154203237518\r\n\r\nOK\r\n"),
            ("AT+CPIN?", b"\r\n+CPIN: READY\r\n\r\nOK\r\n"),
            ("AT+CSCA?", b'\r\n+CSCA: "+48601000310",145\r\n\r\nOK\r\n'),
            ("AT+CGMI;+CGMM", b"\r\nACME\r\n\r\nM1\r\n\r\nOK\r\n"),
            ("AT+GMI;+GSN", b"\r\nACME\r\n\r\n490154203237518\r\n\r\nOK\r\n"),  # V.25ter names
            ("AT+CMGF=1", b"\r\nOK\r\n"),
            ("AT+CMGF?", b"\r\n+CMGF: 1\r\n\r\nOK\r\n"),
            ("AT+CMGF=2", b"\r\nERROR\r\n"),
            ("AT+CNMI?", b"\r\n+CNMI: 0,0,0,0,0\r\n\r\nOK\r\n"),
            ("AT+XYZZY", b"\r\nERROR\r\n"),
            ("ATV0", b"\r\nERROR\r\n"),
            ("AT+CGMI;+XYZZY", b"\r\nACME\r\n\r\nERROR\r\n"),
        ]
        for line, answer in cases:
            self.assertEqual(c.command(line), answer, line)

    def test_log_records_commands_and_answers(self):
        self.client.command("AT+CGMI")
        lines = self.phone.wait_log("TX ACME")
        self.assertTrue(lines)
        log = self.phone.log()
        self.assertIn("RX AT+CGMI", log)
        self.assertLess(log.index("RX AT+CGMI"), log.index("TX ACME"))
        self.assertEqual(log[log.index("TX ACME") + 1], "TX OK")


class SubmitTest(PhoneTest):
    CONFIG = "[submit]\noutcome = cms 42, ok, error, silent\n"

    def test_temporary_error_once_then_accepted(self):
        pdu = encode(RECIPIENT, "Test", mr=7)
        c = self.client
        prompt = c.command("AT+CMGS=%d" % (len(pdu) // 2 - 1), pattern=Client.FINAL_OR_PROMPT)
        self.assertEqual(prompt, b"AT+CMGS=18\r\r\n> ")
        c.write(pdu.encode() + CTRL_Z)
        self.assertEqual(c.read_until(b"42\r\n"), pdu.encode() + b"\r\n+CMS ERROR: 42\r\n")
        # The same PDU again, as the plug-in's single retry sends it.
        self.assertEqual(c.submit(pdu), pdu.encode() + b"\r\n+CMGS: 1\r\n\r\nOK\r\n")
        self.assertIn(b"\r\nERROR\r\n", c.submit(pdu))
        c.write(b"AT+CMGS=18\r")
        c.read_until(b"> ")
        c.write(pdu.encode() + CTRL_Z)
        self.assertEqual(c.read_for(0.4), pdu.encode())  # silent: the echo only
        self.assertIn(b"+CMGS: 2\r\n", c.submit(pdu))  # references count accepted messages

        log = self.phone.log()
        self.assertEqual(log.count("PDU " + pdu), 5)
        self.assertIn("SUBMIT to=%s srr=0 text=Test" % RECIPIENT, log)
        outcomes = [l for l in log if l.startswith("SUBMIT outcome")]
        self.assertEqual(outcomes, ["SUBMIT outcome cms 42", "SUBMIT outcome ok mr=1",
                                    "SUBMIT outcome error", "SUBMIT outcome silent",
                                    "SUBMIT outcome ok mr=2"])


class PromptTest(PhoneTest):
    def test_prompt_without_echo_and_escape(self):
        c = self.client
        c.command("ATE0")
        pdu = encode("123456", "hello")
        self.assertEqual(c.command("AT+CMGS=%d" % (len(pdu) // 2 - 1), pattern=Client.FINAL_OR_PROMPT),
                         b"\r\n> ")
        c.write(pdu[:10].encode() + b"\x1b")  # Esc: nothing is sent
        self.assertEqual(c.read_until(b"OK\r\n"), b"\r\nOK\r\n")
        self.assertEqual(c.submit(pdu), b"\r\n+CMGS: 1\r\n\r\nOK\r\n")
        self.assertEqual(len(self.phone.wait_log("SUBMIT outcome")), 1)

    def test_malformed_submissions_are_refused(self):
        good = encode(RECIPIENT, "Test")
        cases = [
            ("AT+CMGS=19", good),                   # length one octet too many
            ("AT+CMGS=17", good),                   # and one too few
            ("AT+CMGS=18", "00040B918406214365F70000"),  # an SMS-DELIVER, not a SUBMIT
            ("AT+CMGS=18", good[:-1]),              # half an octet
        ]
        c = self.client
        c.command("ATE0")
        for line, pdu in cases:
            c.command(line, pattern=Client.FINAL_OR_PROMPT)
            c.write(pdu.encode() + CTRL_Z)
            self.assertEqual(c.read_until(b"304\r\n"), b"\r\n+CMS ERROR: 304\r\n", line + " " + pdu)
        self.assertEqual(c.command("AT+CMGS"), b"\r\nERROR\r\n")
        self.assertEqual(len(self.phone.wait_log("SUBMIT rejected", 4)), 4)


STORED = """
[storage ME]
capacity = 10
deliver = 1 +48609999888 Stored in the phone
pdu.5 = 3 0011000B918406214365F70000AA04D4F29C0E
[storage SM]
deliver = 0 +48601234567 Unread on the SIM
pdu = 1 0791448720003023240DD0E474D81C0EBB010000111011315214000BE474D81C0EBB5DE3771B
"""


class StorageTest(PhoneTest):
    CONFIG = STORED

    def test_listing_as_the_download_worker_reads_it(self):
        c = self.client
        c.command("ATE0")
        self.assertEqual(c.command('AT+CPMS="MT"'), b"\r\n+CPMS: 4,30,2,20,2,20\r\n\r\nOK\r\n")
        listing = c.command("AT+CMGL=4")
        entries = re.findall(rb"\+CMGL: (\d+),(\d),,(\d+)\r\n([0-9A-F]+)\r\n", listing)
        # MT shows ME first, then SM after the ME capacity.
        self.assertEqual([(int(i), int(s)) for i, s, _, _ in entries],
                         [(1, 1), (5, 3), (11, 0), (12, 1)])
        self.assertTrue(listing.startswith(b"\r\n+CMGL: 1,"))
        self.assertTrue(listing.endswith(b"\r\n\r\nOK\r\n"))
        for _, _, length, pdu in entries:  # <length> counts the TPDU, not the SMSC field
            self.assertEqual(int(length), len(pdu) // 2 - 1 - int(pdu[:2], 16))
        texts = [decode(pdu.decode())["text"] for _, _, _, pdu in entries]
        self.assertEqual(texts, ["Stored in the phone", "Test", "Unread on the SIM", "diafaan.com"])
        # Listing read the unread message.
        self.assertEqual(c.command("AT+CMGL=0"), b"\r\nOK\r\n")

    def test_stat_filter_read_and_delete(self):
        c = self.client
        c.command("ATE0")
        c.command('AT+CPMS="SM"')
        self.assertEqual(re.findall(rb"\+CMGL: (\d+),", c.command("AT+CMGL=0")), [b"1"])
        self.assertEqual(re.findall(rb"\+CMGL: (\d+),", c.command("AT+CMGL=1")), [b"1", b"2"])
        self.assertEqual(c.command("AT+CMGL=2"), b"\r\nOK\r\n")
        self.assertTrue(c.command("AT+CMGR=2").startswith(b"\r\n+CMGR: 1,,30\r\n0791"))
        self.assertEqual(c.command("AT+CMGR=3"), b"\r\n+CMS ERROR: 321\r\n")
        self.assertEqual(c.command("AT+CMGD=2"), b"\r\nOK\r\n")
        self.assertEqual(c.command("AT+CMGR=2"), b"\r\n+CMS ERROR: 321\r\n")
        self.assertEqual(c.command("AT+CPMS?"),
                         b'\r\n+CPMS: "SM",1,20,"SM",1,20,"SM",1,20\r\n\r\nOK\r\n')


class RefusedStorageTest(PhoneTest):
    CONFIG = STORED + "[phone]\nrefuse_storage = MT\n"

    def test_download_falls_back_to_me_and_sm(self):
        c = self.client
        # The download worker's own dialogue: CR alone ends each line.
        self.assertIn(b"OK", c.command("AT"))
        self.assertEqual(c.command('AT+CPMS="MT"'), b'AT+CPMS="MT"\r\r\n+CMS ERROR: 302\r\n')
        self.assertIn(b"OK", c.command('AT+CPMS="ME"'))
        self.assertEqual(len(re.findall(rb"\+CMGL:", c.command("AT+CMGL=4"))), 2)
        self.assertIn(b"OK", c.command('AT+CPMS="SM"'))
        self.assertEqual(len(re.findall(rb"\+CMGL:", c.command("AT+CMGL=4"))), 2)
        self.assertNotIn(b'"MT"', c.command("AT+CPMS=?"))


class PlainErrorStorageTest(PhoneTest):
    CONFIG = "refuse_storage = ME SM\nstorage_refusal = error\n"

    def test_refusal_as_plain_error(self):
        c = self.client
        c.command("ATE0")
        for storage in ("ME", "SM"):
            self.assertEqual(c.command('AT+CPMS="%s"' % storage), b"\r\nERROR\r\n")
        self.assertEqual(c.command('AT+CPMS="SR"'), b"\r\n+CPMS: 0,20,0,20,0,20\r\n\r\nOK\r\n")


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

    def test_refused_settings_and_no_indication(self):
        c = self.client
        c.command("ATE0")
        self.assertEqual(c.command("AT+CNMI=2,0,0,1,0"), b"\r\n+CMS ERROR: 303\r\n")
        # With ds=0 the report is kept in SR but not announced.
        c.submit(encode(RECIPIENT, "Test", report=True))
        self.assertEqual(c.read_for(0.5), b"")
        self.assertTrue(self.phone.wait_log("REPORT stored SR,1"))


class LinkTest(PhoneTest):
    CONFIG = """
byte_delay_us = 3000
[fault]
silence = AT+CSQ
garbage = 1 AT+CGMI
garbage_bytes = FF7E
disconnect = 1 AT+CGSN
error = 1 AT+CMGF=1
error = at+cpms="SM"
garbage = 1 AT+CPMS="SM"
"""

    def test_client_may_close_and_another_open(self):
        self.client.command("ATE0")
        self.client.write(b"AT+CG")  # half a line, dropped with the client
        self.client.close()
        self.phone.wait_log("LINK client closed")
        again = self.phone.open()
        self.addCleanup(again.close)
        # Settings survive the cable; the phone keeps its state between clients.
        self.assertEqual(again.command("AT"), b"\r\nOK\r\n")
        self.assertEqual(len(self.phone.wait_log("LINK client opened", 2)), 2)

    def test_faults(self):
        c = self.client
        # The refused line is echoed and answered ERROR, and does not take effect.
        self.assertEqual(c.command("AT+CMGF=1"), b"AT+CMGF=1\r\r\nERROR\r\n")
        c.command("ATE0")
        self.assertEqual(c.command("AT+CMGF?"), b"\r\n+CMGF: 0\r\n\r\nOK\r\n")
        self.assertEqual(c.command("AT+CMGF=1"), b"\r\nOK\r\n")  # once only
        self.assertEqual(c.command('AT+CPMS="ME"'), b"\r\n+CPMS: 0,50,0,20,0,20\r\n\r\nOK\r\n")
        # Without a count it stays; other faults of the line still apply to the ERROR.
        self.assertEqual(c.command('AT+CPMS="SM"'), b"\xff\x7e\r\nERROR\r\n")
        self.assertEqual(c.command('at+cpms="sm"'), b"\r\nERROR\r\n")
        self.assertEqual(c.command("AT+CPMS?"),
                         b'\r\n+CPMS: "ME",0,50,"SM",0,20,"SM",0,20\r\n\r\nOK\r\n')
        self.assertIn('FAULT error AT+CPMS="SM"', self.phone.log())
        c.write(b"AT+CSQ\r")
        self.assertEqual(c.read_for(0.3), b"")
        self.assertEqual(c.command("AT+CGMI"), b"\xff\x7e\r\nTARNIK\r\n\r\nOK\r\n")
        self.assertEqual(c.command("AT+CGMI"), b"\r\nTARNIK\r\n\r\nOK\r\n")  # once only
        old_target = os.readlink(self.phone.link)
        c.write(b"AT+CGSN\r")
        half = c.read_for(1.0)
        self.assertTrue(half and b"OK" not in half, half)
        self.assertNotEqual(os.readlink(self.phone.link), old_target)
        again = self.phone.open()
        self.addCleanup(again.close)
        self.assertEqual(again.command("AT+CGSN"), b"\r\n350000000000006\r\n\r\nOK\r\n")

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

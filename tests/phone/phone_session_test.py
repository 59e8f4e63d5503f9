"""The emulated phone over its pty, driven as the plug-in and other clients drive a phone: each
case of tests/data/phone_sessions.txt is one phone config and the dialogue held with it."""

import os
import re
import select
import signal
import sys
import tempfile
import time
import tty
import unittest
import unittest.mock

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "integration"))
import wine_phone  # noqa: E402
from wine_phone import started_phone  # noqa: E402

SESSIONS = os.path.join(HERE, "..", "data", "phone_sessions.txt")
PROGRAM = os.environ.get("TARNIK_PHONE", "tarnik-phone")
FRAMES = {"<": (b"\r\n", b"\r\n"), "|": (b"", b"\r\n"), "<:": (b"", b"")}


class Client:
    """A raw termios client on the phone's link, as the plug-in's COM port code is."""

    def __init__(self, path):
        self.fd = os.open(path, os.O_RDWR | os.O_NOCTTY)
        tty.setraw(self.fd)
        self.buffer = b""

    def read(self, count, seconds):
        """Up to count bytes (all that come within the time when count is None)."""
        deadline = time.monotonic() + seconds
        while count is None or len(self.buffer) < count:
            left = deadline - time.monotonic()
            if left <= 0 or not select.select([self.fd], [], [], left)[0]:
                break
            try:
                chunk = os.read(self.fd, 4096)
            except OSError:  # EIO: the phone hung up
                break
            if not chunk:
                break
            self.buffer += chunk
        data, self.buffer = self.buffer[:count], self.buffer[len(self.buffer[:count]):]
        return data

    def close(self):
        if self.fd >= 0:
            os.close(self.fd)
            self.fd = -1


def unescape(text):
    return text.encode("latin-1").decode("unicode_escape").encode("latin-1")


def read_sessions(path):
    """(title, config lines, steps) per case; a step is ["send", bytes, echoed, answer] or
    [kind, argument]."""
    cases = []
    with open(path, encoding="utf-8") as f:
        for line in f.read().splitlines():
            if not line.strip() or line.startswith("#"):
                continue
            if line.startswith("=="):
                cases.append((line[3:], [], []))
                continue
            _, config, steps = cases[-1]
            kind, _, text = line.partition(" ")
            if kind in (">", ">>", ">="):
                sent = unescape(text)
                if kind != ">=" and not sent.endswith((b"\x1a", b"\x1b", b"\n")):
                    sent += b"\r"
                steps.append(["send", sent, kind == ">>", b""])
            elif kind in FRAMES:
                before, after = FRAMES[kind]
                steps[-1][3] += before + unescape(text) + after
            elif kind in ("log", "fails", "quiet", "reopen", "flood", "took", "stop"):
                steps.append([kind, text])
            else:
                config.append(line)
    return cases


class TranscriptTest(unittest.TestCase):
    def test_transcripts(self):
        for title, config, steps in read_sessions(SESSIONS):
            with self.subTest(title or config[-1]):
                if steps[0][0] == "fails":
                    with self.assertRaisesRegex(RuntimeError, re.escape(steps[0][1])):
                        with started_phone(PROGRAM, "\n".join(config) + "\n"):
                            pass
                    continue
                with started_phone(PROGRAM, "\n".join(config) + "\n") as self.phone:
                    self.client = Client(self.phone.link)
                    try:
                        self.walk(steps)
                    finally:
                        self.client.close()

    def test_a_phone_deaf_to_sigterm_is_killed(self):
        """Leaving the phone's context ends even a phone that ignores SIGTERM."""
        with tempfile.TemporaryDirectory() as folder:
            deaf = os.path.join(folder, "deaf-phone")
            with open(deaf, "w") as f:
                f.write('#!/bin/sh\ntrap "" TERM\nln -s /dev/null "$2"\n'
                        'while :; do sleep 0.1; done\n')
            os.chmod(deaf, 0o700)
            with unittest.mock.patch.object(wine_phone, "STOP_SECONDS", 0.3):
                with started_phone(deaf, "") as phone:
                    pass
        self.assertEqual(phone.process.returncode, -signal.SIGKILL)

    def walk(self, steps):
        logged = -1  # the log line the last "log" step found
        started = time.monotonic()
        for kind, *args in steps:
            if kind == "send":
                started = time.monotonic()
                self.exchange(*args)
            elif kind == "log":
                logged = self.find_log(args[0], logged)
            elif kind == "quiet":  # nothing more comes within half a second
                self.assertEqual(self.client.read(None, 0.5), b"")
            elif kind == "reopen":  # once the phone has seen the client go
                self.client.close()
                logged = self.find_log(args[0] or "LINK client closed after", logged)
                self.client = Client(self.phone.link)
                self.client.read(None, 0.1)  # what the pty held from before the close
            elif kind == "flood":  # the pattern over and over, longer than any answer
                flood, pattern = self.client.read(3 * 4096, 2), unescape(args[0])
                self.assertEqual(len(flood), 3 * 4096)
                self.assertEqual(flood, (pattern * len(flood))[:len(flood)])
            elif kind == "took":  # the last exchange took at least so many milliseconds
                self.assertGreaterEqual(time.monotonic() - started, int(args[0]) / 1000)
            elif kind == "stop":  # SIGTERM ends the phone cleanly and removes its link
                self.assertEqual(self.phone.stop(), 0)
                self.assertFalse(os.path.lexists(self.phone.link))

    def exchange(self, sent, echoed, answer):
        os.write(self.client.fd, sent)
        echo = sent.rstrip(b"\x1a\x1b\n") if echoed else b""
        got = self.client.read(len(echo + answer), 3)
        pattern = re.escape(echo) + re.escape(answer).replace(rb"\?", rb"[0-9A-F]")
        self.assertTrue(re.fullmatch(pattern, got),
                        "%r answered %r, not %r" % (sent, got, echo + answer))

    def find_log(self, text, after):
        deadline = time.monotonic() + 3
        while True:
            lines = self.phone.log()
            found = [i for i in range(after + 1, len(lines)) if lines[i].startswith(text)]
            if found:
                return found[0]
            if time.monotonic() > deadline:
                self.fail("no log line %r after line %d in %r" % (text, after, lines))
            time.sleep(0.02)


if __name__ == "__main__":
    unittest.main()

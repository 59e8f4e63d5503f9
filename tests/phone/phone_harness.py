"""Runs tarnik-phone on a pty and talks to it as a serial client would."""

import json
import os
import re
import select
import shutil
import signal
import subprocess
import tempfile
import time
import tty

PHONE = os.environ.get("TARNIK_PHONE", "tarnik-phone")
PDU_TOOL = os.environ.get("TARNIK_PDU", "tarnik-pdu")

CTRL_Z = b"\x1a"


class Phone:
    """One emulator process with its own link, config and log in a scratch directory."""

    def __init__(self, config=""):
        self.dir = tempfile.mkdtemp(prefix="tarnik-phone-")
        self.link = os.path.join(self.dir, "ttyPHONE")
        self.log_path = os.path.join(self.dir, "phone.log")
        args = [PHONE, "--link", self.link, "--log", self.log_path]
        if config:
            path = os.path.join(self.dir, "phone.conf")
            with open(path, "w") as f:
                f.write(config)
            args += ["--config", path]
        self.process = subprocess.Popen(args, stderr=subprocess.PIPE)
        deadline = time.monotonic() + 5
        while not os.path.islink(self.link):
            if self.process.poll() is not None:
                raise RuntimeError("tarnik-phone failed: " + self.process.stderr.read().decode())
            if time.monotonic() > deadline:
                raise RuntimeError("tarnik-phone made no link")
            time.sleep(0.01)

    def open(self):
        return Client(self.link)

    def log(self):
        with open(self.log_path, encoding="utf-8", errors="replace") as f:
            return f.read().splitlines()

    def wait_log(self, prefix, count=1, timeout=3.0):
        deadline = time.monotonic() + timeout
        while True:
            lines = [line for line in self.log() if line.startswith(prefix)]
            if len(lines) >= count or time.monotonic() > deadline:
                return lines
            time.sleep(0.02)

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(timeout=5)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.process.stderr.close()
        return self.process.returncode

    def close(self):
        self.stop()
        shutil.rmtree(self.dir, ignore_errors=True)


class Client:
    """A raw termios client on the phone's link, as the plug-in's COM port code is."""

    # Final result codes of V.25ter and TS 27.005, and the prompt of AT+CMGS.
    FINAL = re.compile(rb"\r\n(OK|ERROR|\+CMS ERROR: \d+)\r\n")
    FINAL_OR_PROMPT = re.compile(rb"\r\n(OK|ERROR|\+CMS ERROR: \d+)\r\n|\r\n> ")

    def __init__(self, path):
        self.fd = os.open(path, os.O_RDWR | os.O_NOCTTY)
        tty.setraw(self.fd)
        self.buffer = b""

    def write(self, data):
        os.write(self.fd, data)

    def _fill(self, deadline):
        left = deadline - time.monotonic()
        if left <= 0 or not select.select([self.fd], [], [], left)[0]:
            return False
        try:
            chunk = os.read(self.fd, 4096)
        except OSError:  # EIO: the phone hung up
            chunk = b""
        if not chunk:
            raise EOFError("hung up after %r" % self.buffer)
        self.buffer += chunk
        return True

    def read_match(self, pattern, timeout=2.0, start=0):
        """Everything up to the end of the first match of pattern at or after start."""
        deadline = time.monotonic() + timeout
        while True:
            m = pattern.search(self.buffer, start)
            if m:
                data, self.buffer = self.buffer[:m.end()], self.buffer[m.end():]
                return data
            if not self._fill(deadline):
                raise TimeoutError("waited for %r, got %r" % (pattern.pattern, self.buffer))

    def read_until(self, token, timeout=2.0):
        return self.read_match(re.compile(re.escape(token)), timeout)

    def read_for(self, seconds):
        """Whatever arrives within the given time."""
        deadline = time.monotonic() + seconds
        try:
            while self._fill(deadline):
                pass
        except EOFError:
            pass
        data, self.buffer = self.buffer, b""
        return data

    def command(self, line, pattern=FINAL, timeout=2.0):
        """Sends a command line ended by CR; returns what came up to its final result code."""
        self.write(line.encode() + b"\r")
        echo = line.encode() + b"\r"
        deadline = time.monotonic() + timeout
        while len(self.buffer) < len(echo) and echo.startswith(self.buffer):
            if not self._fill(deadline):
                break
        start = len(echo) if self.buffer.startswith(echo) else 0
        return self.read_match(pattern, max(0.0, deadline - time.monotonic()), start)

    def submit(self, pdu):
        """AT+CMGS with the announced TPDU length, the PDU and Ctrl-Z; returns the answer,
        or what came within a second from a phone that keeps silent."""
        octets = len(pdu) // 2 - 1 - int(pdu[:2], 16)
        prompt = self.command("AT+CMGS=%d" % octets, self.FINAL_OR_PROMPT)
        if not prompt.endswith(b"\r\n> "):
            return prompt
        self.write(pdu.encode() + CTRL_Z)
        try:
            return self.read_match(self.FINAL, 1.0)
        except TimeoutError:
            return self.read_for(0)

    def close(self):
        if self.fd >= 0:
            os.close(self.fd)
            self.fd = -1


def encode(number, text, report=False, mr=0, concat=None):
    """An SMS-SUBMIT PDU from the plug-in's own encoder."""
    args = [PDU_TOOL, "encode", "--number", number, "--text", text, "--mr", str(mr)]
    if report:
        args.append("--report")
    if concat:
        args += ["--concat", "%d,%d,%d" % concat]
    return subprocess.run(args, check=True, capture_output=True, text=True).stdout.strip()


def decode(pdu):
    """The plug-in's decoding of one PDU, as a dict."""
    out = subprocess.run([PDU_TOOL, "decode", pdu], check=True, capture_output=True, text=True)
    return json.loads(out.stdout)

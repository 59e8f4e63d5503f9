"""What the test drivers and measurements share: starting the phone emulator, as a COM
port too, running the test host, reading the host's output and matching expected lines.
tarnik-phone serves a pty; a dosdevices link makes it COM<port> for Windows programs under
Wine (TARNIK_COM<port> for the native link library), so the real linkcom.mdl carries the
bytes."""
import codecs
import contextlib
import json
import os
import random
import re
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
WINE_RUN = os.path.join(ROOT, "scripts", "wine-run.sh")
PREFIX = os.environ.get("WINEPREFIX") or os.path.expanduser("~/.wine-tarnik")
START_SECONDS = 5  # for the phone's link to appear
STOP_SECONDS = 5  # for the phone to end on SIGTERM before it is killed


def windows_path(path):
    """The path as Wine's Z: drive shows the root, without starting a Wine program."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def ensure_prefix():
    """Lets Wine make the prefix before we put a link into it: a prefix folder that exists
    without Wine's files (a dosdevices folder of ours alone) is never set up."""
    if not os.path.exists(os.path.join(PREFIX, "system.reg")):
        subprocess.run([WINE_RUN, "cmd", "/c", "exit"], stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)


def data_file(name):
    """A JSON file of tests/data, its lines that start with # left out."""
    with open(os.path.join(ROOT, "tests", "data", name), encoding="utf-8") as f:
        return json.loads("".join(line for line in f if not line.startswith("#")))


def com_profile(port, report=False, kind=2):
    """A profile record in hex: the connection kind, the port, no address, no flash, the
    report option."""
    return "%02X%02X0000000000000000%02X%02X00" % (kind, port, 0, 1 if report else 0)


class Phone:
    """A running tarnik-phone with its pty link, work folder and log. Under phone_on_com
    it also has the COM port number that leads to it."""

    def __init__(self, program, config, work, port=None):
        self.work, self.port = work, port
        self.link, self.log_path, self.errors_path = (
            os.path.join(work, n) for n in ("phone", "phone.log", "phone.err"))
        with open(os.path.join(work, "phone.conf"), "w") as f:
            f.write(config)
        with open(self.errors_path, "wb") as errors:
            self.process = subprocess.Popen([program, "--link", self.link, "--log", self.log_path,
                                             "--config", f.name], stderr=errors)
        deadline = time.monotonic() + START_SECONDS
        while not os.path.islink(self.link):
            if self.process.poll() is not None or time.monotonic() > deadline:
                self.stop()
                raise RuntimeError("tarnik-phone failed: " + self.errors())
            time.sleep(0.01)

    def log(self):
        with open(self.log_path, encoding="utf-8", errors="replace") as f:
            return f.read().splitlines()

    def errors(self):
        with open(self.errors_path, encoding="utf-8", errors="replace") as f:
            return f.read()

    def stop(self):
        """Ends the phone: SIGTERM, then SIGKILL if it has not gone within STOP_SECONDS, so
        that a phone that hangs cannot hold the test. Its exit status."""
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(timeout=STOP_SECONDS)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        return self.process.returncode

    def host(self, bin_dir, *args, timeout=300):
        """Runs tarnik-host with a data folder of this phone's work folder; returns
        (stdout, stderr, seconds)."""
        return run_host(bin_dir, os.path.join(self.work, "hostdata"), *args, timeout=timeout)


@contextlib.contextmanager
def started_phone(program, config):
    """A Phone in a scratch folder of its own, stopped and its folder removed on leaving."""
    with tempfile.TemporaryDirectory(prefix="tarnik-phone-") as work:
        started = Phone(program, config, work)
        try:
            yield started
        finally:
            started.stop()
            sys.stderr.write(started.errors())


def run_host(bin_dir, data, *args, timeout=300, env=None):
    """Runs bin_dir's tarnik-host under Wine with the data folder `data` (a Unix path);
    returns (stdout without carriage returns, stderr, seconds)."""
    started = time.monotonic()
    run = subprocess.run([WINE_RUN, os.path.join(bin_dir, "tarnik-host.exe"), "--data",
                          windows_path(data), *args], capture_output=True, timeout=timeout,
                         env=env)
    return (run.stdout.decode("utf-8", "replace").replace("\r", ""),
            run.stderr.decode("utf-8", "replace"), time.monotonic() - started)


@contextlib.contextmanager
def phone_on_com(native_dir, config, port=None, wine=True):
    """Starts tarnik-phone with the configuration text `config` behind COM<port> (a free
    one unless given): a link in the Wine prefix, and natively TARNIK_COM<port>."""
    port = port or random.randint(60, 250)
    comlink = os.path.join(PREFIX, "dosdevices", "com%d" % port)
    with started_phone(os.path.join(native_dir, "phone", "tarnik-phone"), config) as started:
        started.port = port
        os.environ["TARNIK_COM%d" % port] = started.link
        try:
            if wine:
                ensure_prefix()
                os.makedirs(os.path.dirname(comlink), exist_ok=True)
                if os.path.lexists(comlink):
                    os.unlink(comlink)
                os.symlink(started.link, comlink)
            yield started
        finally:
            if wine and os.path.lexists(comlink):
                os.unlink(comlink)


def expect(condition, what):
    """Fails the check in hand with `what` as the reason unless `condition` holds."""
    if not condition:
        raise AssertionError(what)


FIELD = re.compile(r'([\w*]+)=("(?:[^"\\]|\\.)*"\S*|\S*)')


def fields(line):
    """The KEY=VALUE fields of one line of the test host's output, values unquoted (a
    suffix after the quotes, as in "Alfa"/2, is kept)."""
    out = {}
    for key, value in FIELD.findall(line):
        if value.startswith('"'):
            end = value.rfind('"')
            value = codecs.decode(value[1:end].encode("latin-1", "backslashreplace"),
                                  "unicode_escape") + value[end + 1:]
        out[key] = value
    return out


def lines_of(out, word):
    """The fields of every output line that starts with `word`."""
    return [fields(line) for line in out.splitlines() if line.split(" ", 1)[0] == word]


def blocks(out, head, item):
    """Each `head` line of the output with the `item` lines that follow it, as fields:
    [(head's fields, [each item's fields])]."""
    found = []
    for line in out.splitlines():
        word = line.split(" ", 1)[0]
        if word == head:
            found.append((fields(line), []))
        elif word == item and found:
            found[-1][1].append(fields(line))
    return found


def dumps(out):
    """Each `dump` step of the output: (caption, {control id: fields})."""
    return [(d["caption"], {int(c["id"]): c for c in cs}) for d, cs in blocks(out, "DIALOG",
                                                                                   "CONTROL")]


def like(text, pattern):
    """Whether `text` is `pattern`, or begins with it where the pattern ends in *."""
    return text == pattern or pattern.endswith("*") and text.startswith(pattern[:-1])


def missing_in_order(items, wanted, matches=like):
    """The first of `wanted` that is not found among `items` in that order, or None."""
    rest = iter(items)
    return next((w for w in wanted if not any(matches(i, w) for i in rest)), None)

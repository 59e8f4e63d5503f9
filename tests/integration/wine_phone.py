"""The phone emulator as a COM port of the Wine machine, and the test host run against it.
tarnik-phone serves a pty; a dosdevices link makes it COM<port> for Windows programs, so
the real linkcom.mdl carries the bytes. Shared by the end-to-end tests and measurements."""
import contextlib
import os
import random
import subprocess
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
WINE_RUN = os.path.join(ROOT, "scripts", "wine-run.sh")
PREFIX = os.environ.get("WINEPREFIX") or os.path.expanduser("~/.wine-tarnik")


def windows_path(path):
    """The path as Wine's Z: drive shows the root, without starting a Wine program."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def com_profile(port, report=False, kind=2):
    """A profile record in hex: the connection kind, the port, no address, no flash, the
    report option."""
    return "%02X%02X0000000000000000%02X%02X00" % (kind, port, 0, 1 if report else 0)


class Phone:
    """A running phone: its COM port number, its work folder and its log lines."""

    def __init__(self, work, port, log):
        self.work, self.port, self.log_path = work, port, log

    def log(self):
        with open(self.log_path, encoding="utf-8", errors="replace") as f:
            return f.read().splitlines()

    def host(self, bin_dir, *args, timeout=300):
        """Runs tarnik-host with a data folder of this phone's work folder; returns
        (stdout, stderr, seconds)."""
        data = windows_path(os.path.join(self.work, "hostdata"))
        started = time.monotonic()
        run = subprocess.run([WINE_RUN, os.path.join(bin_dir, "tarnik-host.exe"), "--data", data,
                              *args], capture_output=True, timeout=timeout)
        return (run.stdout.decode("utf-8", "replace").replace("\r", ""),
                run.stderr.decode("utf-8", "replace"), time.monotonic() - started)


@contextlib.contextmanager
def phone_on_com(native_dir, config):
    """Starts tarnik-phone with the configuration text `config` behind a free COM port."""
    phone_bin = os.path.join(native_dir, "phone", "tarnik-phone")
    with tempfile.TemporaryDirectory() as work:
        conf = os.path.join(work, "phone.conf")
        with open(conf, "w") as f:
            f.write(config)
        link = os.path.join(work, "phone")
        log = os.path.join(work, "phone.log")
        process = subprocess.Popen([phone_bin, "--link", link, "--config", conf, "--log", log])
        port = random.randint(60, 250)
        comlink = os.path.join(PREFIX, "dosdevices", "com%d" % port)
        try:
            for _ in range(50):
                if os.path.exists(link):
                    break
                time.sleep(0.1)
            os.makedirs(os.path.dirname(comlink), exist_ok=True)
            if os.path.lexists(comlink):
                os.unlink(comlink)
            os.symlink(link, comlink)
            yield Phone(work, port, log)
        finally:
            process.terminate()
            process.wait()
            if os.path.lexists(comlink):
                os.unlink(comlink)


def fields(line):
    """The KEY=VALUE fields of one line of the test host's output, values unquoted."""
    out, i, n = {}, 0, len(line)
    while i < n:
        while i < n and line[i] == " ":
            i += 1
        eq = line.find("=", i)
        space = line.find(" ", i)
        if eq < 0 or (0 <= space < eq):
            i = n if space < 0 else space + 1  # the leading word: no field
            continue
        key, i = line[i:eq], eq + 1
        if i < n and line[i] == '"':
            value, i = [], i + 1
            while i < n and line[i] != '"':
                if line[i] == "\\":
                    c = line[i + 1]
                    if c in "xu":
                        width = 2 if c == "x" else 4
                        value.append(chr(int(line[i + 2:i + 2 + width], 16)))
                        i += 2 + width
                        continue
                    value.append({"n": "\n", "r": "\r", "t": "\t"}.get(c, c))
                    i += 2
                    continue
                value.append(line[i])
                i += 1
            i += 1
            end = line.find(" ", i)  # a suffix after the quotes, e.g. "Alfa"/2
            end = n if end < 0 else end
            out[key] = "".join(value) + line[i:end]
            i = end
        else:
            end = line.find(" ", i)
            end = n if end < 0 else end
            out[key] = line[i:end]
            i = end
    return out


def lines_of(out, word):
    """The fields of every output line that starts with `word`."""
    return [fields(l) for l in out.splitlines() if l.split(" ", 1)[0] == word]

#!/usr/bin/env python3
"""Writes a tarnik-phone configuration whose storages hold many received messages.

The download is measured on it: natively by tarnik-download-bench, which lists the same
file through the emulator's own command processor, and end to end under Wine against
tarnik-phone. Three quarters of the messages are single SMS-DELIVERs (GSM 7-bit Polish
without diacritics, some UCS-2 with them), one quarter parts of long messages (2 to 4
parts, concatenation headers with 8-bit and some 16-bit references). They lie in arrival
order over the phone memory (ME) and the SIM card (SM); a long message's later parts
sometimes come after a message that arrived between them. The same seed gives the same
file.

usage: make_phone_store.py OUT.conf [--byte-delay-us N] [--count N] [--seed S] [--check]

--byte-delay-us is the phone's pause before every byte it sends: 87 is a 115200-baud
8N1 line (10 bits a byte). --check decodes every PDU with python3-gammu and compares the
sender, the text and the concatenation header with what was meant; it exits 1 on a
difference and says "skipped" without python3-gammu.

Prints one line: messages, single ones, long groups and their parts, the PDUs' hex
characters and the listing's expected size.
"""
import argparse
import datetime
import os
import random
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests"))
from pdu_pieces import bcd, gsm_septets, pack_septets, semi_octets  # noqa: E402

# ---------------------------------------------------------------- PDU pieces


def number_field(number):
    """SMSC field or originator address: (type of address, semi-octets) of '+digits'."""
    digits = number.lstrip("+")
    return (0x91 if number.startswith("+") else 0x81), semi_octets(digits), len(digits)


def smsc_octets(number):
    toa, body, _ = number_field(number)
    return bytes([1 + len(body), toa]) + body


def originator_octets(sender):
    if sender.isalnum() and not sender.isdigit():
        septets = gsm_septets(sender)
        _, packed = pack_septets(septets)
        return bytes([(len(septets) * 7 + 3) // 4, 0xD0]) + packed
    toa, body, digits = number_field(sender)
    return bytes([digits, toa]) + body


def timestamp_octets(when):
    # Polish time: summer time from April to October is close enough here.
    quarters = 8 if 4 <= when.month <= 10 else 4
    fields = (when.year % 100, when.month, when.day, when.hour, when.minute, when.second)
    return bytes(bcd(v) for v in fields) + bytes([bcd(quarters)])


def concat_header(ref, total, seq, wide):
    element = (bytes([0x08, 4, ref >> 8, ref & 0xFF, total, seq]) if wide else
               bytes([0x00, 3, ref, total, seq]))
    return bytes([len(element)]) + element


def deliver_pdu(smsc, sender, when, text, ucs2, header=b""):
    """SMS-DELIVER as a phone lists it, and its TPDU's octets: SMSC field, first octet
    (TP-MMS set: no more messages; TP-UDHI with a header), originator, PID, DCS, time
    stamp, UDL, UD."""
    if ucs2:
        data = header + text.encode("utf-16-be")
        udl = len(data)
    else:
        udl, data = pack_septets(gsm_septets(text), header)
    first = 0x04 | (0x40 if header else 0)
    tpdu = (bytes([first]) + originator_octets(sender) + bytes([0x00, 0x08 if ucs2 else 0x00]) +
            timestamp_octets(when) + bytes([udl]) + data)
    return (smsc_octets(smsc) + tpdu).hex().upper(), len(tpdu)


# ---------------------------------------------------------------- what people write

PLAIN_SENTENCES = [
    "Czesc, bede za 10 minut.", "Jestem juz pod blokiem.", "Zadzwon jak bedziesz mogl.",
    "Spotkanie przeniesione na czwartek, godz. 15:00.", "Dzieki, do jutra!",
    "Kup prosze chleb i mleko.", "Nie zapomnij o kluczach.", "Ok, pasuje mi.",
    "Twoj kod weryfikacyjny to 482913. Nie podawaj go nikomu.",
    "Przesylka nr 6200123456 zostanie doreczona jutro miedzy 9:00 a 13:00.",
    "Przypominamy o wizycie 12.03 o 8:30. Prosimy o potwierdzenie (TAK/NIE).",
    "Saldo konta: 1234,56 zl. Ostatnia operacja: -49,99 zl.",
    "Rachunek za marzec: 89,00 zl, termin platnosci 25.03.",
    "Wszystkiego najlepszego!", "Pociag ma 20 min opoznienia.",
    "Odbierz dzieci ze szkoly o 16.", "Gdzie jestes?", "Wracam kolo 19.",
    "Zamowienie #A-5531 jest gotowe do odbioru.", "Pakiet 5 GB aktywny do 30.06.",
    "Mecz o 20:45, wpadasz?", "Zostawilam notatki na biurku.", "Cena: 15 € za osobe.",
    "Adres: ul. Dluga 12/4, 00-950 Warszawa.", "Haslo do wifi: [kot_w_butach]",
    "Dojechalem, wszystko ok.", "Oddzwonie po 17.", "50% rabatu tylko dzis!",
]
WIDE_SENTENCES = [
    "Dzięki, już jestem w domu.", "Spóźnię się około 15 minut, przepraszam.",
    "Czy możesz kupić chleb i masło?", "Wszystkiego najlepszego z okazji urodzin!",
    "Dużo zdrowia i szczęścia.", "Przyjdę później, bo mam jeszcze spotkanie.",
    "Zażółć gęślą jaźń.", "Życzę miłego weekendu!", "Pamiętaj o jutrzejszym egzaminie.",
    "Wizyta w przychodni: środa, 9:15, gabinet 14.", "Źle się czuję, zostaję w domu.",
    "Obiad będzie o szóstej.", "Dziękuję za pomoc — naprawdę!", "Już wychodzę.",
    "Mówiłem, że „Łódź” to dobry pomysł.", "Ćwiczenia przeniesione na piątek.",
]
ALPHA_SENDERS = ["Bank", "Kurier", "Przychodnia", "InfoSMS", "Apteka", "Sklep24"]
SMSCS = ["+48601000310", "+48601000310", "+48602951111"]

SINGLE_GSM_SEPTETS = 160
SINGLE_UCS2_CHARS = 70


def record(smsc, sender, when, text, ucs2, concat=None):
    """One stored PDU with what it was made of, for the check."""
    header = concat_header(*concat) if concat else b""
    pdu, tpdu = deliver_pdu(smsc, sender, when, text, ucs2, header)
    return {"pdu": pdu, "tpdu": tpdu, "smsc": smsc, "sender": sender, "when": when,
            "text": text, "ucs2": ucs2, "concat": concat}


class Generator:
    def __init__(self, seed):
        self.rng = random.Random(seed)
        rng = self.rng
        # A few people write most of the messages.
        self.senders = (["+48" + rng.choice("5678") + "%08d" % rng.randrange(10**8)
                         for _ in range(30)] +
                        [rng.choice("5678") + "%08d" % rng.randrange(10**8) for _ in range(5)] +
                        ["8080", "7126", "80300"] + ALPHA_SENDERS)
        self.weights = [1.0 / (k + 1) for k in range(len(self.senders))]
        self.when = datetime.datetime(2024, 1, 2, 8, 0, 0)
        self.refs8 = rng.sample(range(256), 256)
        # Both octets non-zero, so no 16-bit reference reads like an 8-bit one.
        self.refs16 = rng.sample([r for r in range(256, 65536) if r & 0xFF], 4096)

    def text(self, sentences, length):
        """Sentences up to about `length` characters, cut at a word when longer."""
        out = ""
        while len(out) < length:
            out += (" " if out else "") + self.rng.choice(sentences)
        if len(out) > length:
            cut = out.rfind(" ", 0, length)
            out = out[:cut if cut > length // 2 else length].rstrip()
        return out

    def fits(self, text, ucs2, limit):
        return len(text) <= limit if ucs2 else len(gsm_septets(text)) <= limit

    def next_time(self):
        self.when += datetime.timedelta(seconds=self.rng.randrange(60, 36 * 3600))
        return self.when

    def sender(self):
        return self.rng.choices(self.senders, self.weights)[0]

    def single(self):
        rng = self.rng
        ucs2 = rng.random() < 0.2
        # Mostly short notes, some that fill the message.
        length = rng.choice([rng.randint(8, 60)] * 3 + [rng.randint(60, 160)])
        limit = SINGLE_UCS2_CHARS if ucs2 else SINGLE_GSM_SEPTETS
        length = min(length, limit)
        text = self.text(WIDE_SENTENCES if ucs2 else PLAIN_SENTENCES, length)
        while not self.fits(text, ucs2, limit):  # escape pairs take two septets
            text = text[:-1].rstrip()
        return [record(rng.choice(SMSCS), self.sender(), self.next_time(), text, ucs2)]

    def long(self, parts):
        rng = self.rng
        ucs2 = rng.random() < 0.2
        wide = rng.random() < 0.25
        ref = self.refs16.pop() if wide else self.refs8.pop()
        header = concat_header(ref, parts, 1, wide)
        header_septets = (len(header) * 8 + 6) // 7
        per_part = (140 - len(header)) // 2 if ucs2 else 160 - header_septets
        # The last part carries what is left: a fifth to all of one part.
        size = per_part * (parts - 1) + rng.randint(per_part // 5, per_part)
        text = self.text(WIDE_SENTENCES if ucs2 else PLAIN_SENTENCES, size)
        chunks = self.split(text, ucs2, per_part)
        while len(chunks) != parts:  # a word cut made it one part short: pad the last
            text += " " + rng.choice(WIDE_SENTENCES if ucs2 else PLAIN_SENTENCES)
            chunks = self.split(text, ucs2, per_part)[:parts]
        sender, smsc = self.sender(), rng.choice(SMSCS)
        when = self.next_time()
        out = []
        for seq, chunk in enumerate(chunks, 1):
            out.append(record(smsc, sender, when, chunk, ucs2, (ref, parts, seq, wide)))
            when += datetime.timedelta(seconds=rng.randint(0, 4))
        return out

    @staticmethod
    def split(text, ucs2, per_part):
        """Parts as a sender cuts them, by characters: an extension character's escape
        pair stays in one part."""
        chunks = []
        while text:
            n = min(len(text), per_part)
            while not ucs2 and len(gsm_septets(text[:n])) > per_part:
                n -= 1
            chunks.append(text[:n])
            text = text[n:]
        return chunks

    def part_counts(self, total_parts):
        counts = []
        left = total_parts
        while left:
            if left <= 4:
                n = left
            else:
                n = self.rng.choice([2, 3, 3, 3, 3, 4])
                if left - n == 1:
                    n -= 1
            counts.append(n)
            left -= n
        return counts

    def store(self, count):
        """Messages in arrival order: lists of one record, or of a long message's parts."""
        rng = self.rng
        long_parts = count // 4 if count // 4 >= 2 else 0
        kinds = ["single"] * (count - long_parts) + self.part_counts(long_parts)
        rng.shuffle(kinds)
        messages = [self.single() if k == "single" else self.long(k) for k in kinds]
        # Arrival order: now and then one message comes between the parts of a long one.
        order = []
        held = []
        for m in messages:
            if len(m) > 1 and not held and rng.random() < 0.1:
                order.append(m[0])
                held = m[1:]
                continue
            order += m
            if held:
                order += held
                held = []
        order += held
        return order, sum(1 for k in kinds if k != "single")


def listing_size(records, me_capacity, me_count):
    """Bytes of the emulator's answer to AT+CMGL=4 on MT, echo and final result included."""
    size = len("AT+CMGL=4\r") + len("\r\n") + len("\r\n") + len("\r\nOK\r\n")
    for k, r in enumerate(records):
        shown = k + 1 if k < me_count else me_capacity + (k - me_count) + 1
        line = "+CMGL: %d,%d,,%d\r\n%s" % (shown, r["stat"], r["tpdu"], r["pdu"])
        size += len(line) + (2 if k else 0)
    return size


def import_gammu():
    """python3-gammu, or None; run before anything is written, since it may restart us."""
    try:
        import gammu
        return gammu
    except ImportError:
        # pyenv or a virtualenv can shadow the distribution's interpreter, which has it.
        system_python = "/usr/bin/python3"
        if (os.environ.get("TARNIK_STORE_REEXEC") != "1" and os.path.exists(system_python)
                and os.path.realpath(system_python) != os.path.realpath(sys.executable)):
            os.environ["TARNIK_STORE_REEXEC"] = "1"
            os.execv(system_python, [system_python] + sys.argv)
        return None


def check_with_gammu(gammu, records):
    bad = 0
    for k, r in enumerate(records):
        d = gammu.DecodePDU(bytes.fromhex(r["pdu"]))
        if not r["ucs2"]:
            # Gammu counts an escape pair as two characters and fills the text's end with
            # NUL and stray characters; our texts hold no NUL, so cut there.
            d["Text"] = d["Text"].split("\x00")[0]
        problems = []
        if d["Number"] != r["sender"]:
            problems.append("sender %r, meant %r" % (d["Number"], r["sender"]))
        if d["SMSC"]["Number"] != r["smsc"]:
            problems.append("SMSC %r, meant %r" % (d["SMSC"]["Number"], r["smsc"]))
        if d["Text"] != r["text"]:
            problems.append("text %r, meant %r" % (d["Text"], r["text"]))
        coding = "Unicode_No_Compression" if r["ucs2"] else "Default_No_Compression"
        if d["Coding"] != coding:
            problems.append("coding %s" % d["Coding"])
        udh = d["UDH"]
        if r["concat"]:
            ref, total, seq, wide = r["concat"]
            got = (udh["ID16bit"] if wide else udh["ID8bit"], udh["AllParts"], udh["PartNumber"])
            if got != (ref, total, seq):
                problems.append("concatenation %r, meant %r" % (got, (ref, total, seq)))
        elif udh["Type"] != "NoUDH":
            problems.append("header %s" % udh["Type"])
        if d["DateTime"] != r["when"]:
            problems.append("time %s, meant %s" % (d["DateTime"], r["when"]))
        if problems:
            bad += 1
            if bad <= 10:
                print("record %d %s: %s" % (k, r["pdu"], "; ".join(problems)), file=sys.stderr)
    print("check: %d PDUs decoded by gammu, %d differ" % (len(records), bad))
    return bad == 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("out", help="the configuration file to write")
    parser.add_argument("--byte-delay-us", type=int, default=87,
                        help="pause before every byte the phone sends (87: 115200 baud)")
    parser.add_argument("--count", type=int, default=1000, help="stored PDUs (1000)")
    parser.add_argument("--seed", type=int, default=20240102)
    parser.add_argument("--check", action="store_true",
                        help="decode every PDU with python3-gammu and compare")
    args = parser.parse_args()
    if args.count < 1 or args.byte_delay_us < 0:
        parser.error("--count must be positive and --byte-delay-us not negative")

    # The phone memory takes a little over half; a storage holds at most 1000 (the
    # emulator's limit), and one listing of MT at most 2047 messages.
    me_count = (args.count * 11 + 19) // 20
    sm_count = args.count - me_count
    if me_count > 1000:
        parser.error("--count above 1818 does not fit the emulator's storages")
    gammu = import_gammu() if args.check else None
    me_capacity, sm_capacity = max(600, me_count), max(600, sm_count)

    records, groups = Generator(args.seed).store(args.count)
    for k, r in enumerate(records):
        # The newest few are still unread.
        r["stat"] = 0 if k >= len(records) - max(1, len(records) // 40) else 1
    singles = sum(1 for r in records if not r["concat"])
    parts = len(records) - singles
    hex_chars = sum(len(r["pdu"]) for r in records)
    size = listing_size(records, me_capacity, me_count)
    summary = ("%d messages: %d single, %d long in %d parts; %d PDU hex characters; "
               "AT+CMGL=4 on MT answers %d bytes (%.2f s at 115200 baud)" %
               (len(records), singles, groups, parts, hex_chars, size, size * 10 / 115200))

    with open(args.out, "w", encoding="utf-8") as f:
        f.write("# Made by bench/make_phone_store.py --count %d --seed %d --byte-delay-us %d\n"
                % (args.count, args.seed, args.byte_delay_us))
        f.write("# %s\n" % summary)
        f.write("[phone]\nmanufacturer = Tarnik\nmodel = Telefon pelny\n")
        f.write("byte_delay_us = %d\n" % args.byte_delay_us)
        for name, capacity, chunk in (("ME", me_capacity, records[:me_count]),
                                      ("SM", sm_capacity, records[me_count:])):
            f.write("\n[storage %s]\ncapacity = %d\n" % (name, capacity))
            for r in chunk:
                f.write("pdu = %d %s\n" % (r["stat"], r["pdu"]))
    print(summary)

    if args.check:
        if gammu is None:
            print("check skipped: python3-gammu not installed")
        elif not check_with_gammu(gammu, records):
            sys.exit(1)


if __name__ == "__main__":
    main()

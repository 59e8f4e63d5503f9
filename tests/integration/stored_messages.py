"""What downloading the phone of phone-stored.conf gives: the rows of the download list in
the order they appear, and the archive record of each.

Each row is a dict:
    number     the "Numer telefonu" column: a number longer than 9 characters gets a "+"
    date       the "Data" column: the first part's service centre time stamp as its digits
               stand ("20yy-mm-dd hh:mm:ss", the zone left out, the same under every TZ),
               "None" for a stored outgoing message
    text       the "Treść" column: the parts' texts joined in listing order
    archive    the record filed for the row:
        text       the joined text
        meta       smsc="<centre>",report="<TP-SRR/SRQ bit>",mti="0x<type, 4 digits>"
        number     9 characters get "+48", 10 or more a "+", unless they start with "+"
        direction  1 received (SMS-DELIVER, SMS-STATUS-REPORT), 2 stored outgoing
        time       the first part's time stamp in seconds since 1970; None for an
                   outgoing message, which is filed at the time of saving

Times: the download reads the time stamp's fields as local time (mktime) and does not
apply the zone the centre wrote. expected_rows() does the same with Python's mktime, so
the times follow TZ; call it after any change of TZ (and time.tzset()). The test run must
give the plug-in and Python the same local zone: on the test machines TZ is unset and the
system zone is UTC, and Wine takes the host's zone.

How the rows come about (download/long_messages.cpp): MT lists ME, then SM. A row opens at
a single message or a first part, in listing order; a later part is added to every open
row with its reference and part count, also in listing order, and a part no row waits for
is dropped. Hence the three-part message stored first, third, second reads in that order,
the long message kept in both ME and SM gives two rows of which the first has the second
part twice, and the message whose first part is missing gives no row. The status report
in SR is not listed.
"""

import time

PART_A = ["Czesc! To jest pierwsza czesc dlugiej wiadomosci. ", "Tu druga czesc, w srodku. ",
          "I trzecia, na koniec."]
PART_B = ["Dluga wiadomosc w obu pamieciach, czesc pierwsza; ", "czesc druga."]
REPORT_TEXT = ("Raport doręczenia (23)\r\nStan: Ok, wiadomość dostarczona\r\n\r\n"
               "Czas wysłania: 2024-05-20 08:15:00\r\nCzas dostarczenia: 2024-05-20 08:15:07\r\n")

RECEIVED, SENT = 1, 2

# number, date, text, centre, report bit, type, archive number, time stamp fields or None
_ROWS = [
    ("601234567", "2024-03-15 10:30:00", "Spotkanie jutro o 10:00 w biurze, sala 2.",
     "48601000311", 0, 0, "+48601234567", (2024, 3, 15, 10, 30, 0)),
    ("+48600111222", "2024-02-29 18:05:10", PART_A[0] + PART_A[2] + PART_A[1],
     "48601000333", 0, 0, "+48600111222", (2024, 2, 29, 18, 5, 10)),
    ("+48501234567", "2024-11-11 11:11:11", "Zażółć gęślą jaźń",
     "48601000344", 0, 0, "+48501234567", (2024, 11, 11, 11, 11, 11)),
    ("Tarnik", "2024-12-24 17:00:00", "Twoj kod: 482913. Nie podawaj go nikomu.",
     "48601000355", 0, 0, "Tarnik", (2024, 12, 24, 17, 0, 0)),
    ("[ None ]", "None", "Szkic bez adresata",
     "48601000366", 1, 1, "[ None ]", None),
    ("600900100", "2024-05-20 08:15:00", REPORT_TEXT,
     "48601000377", 0, 2, "+48600900100", (2024, 5, 20, 8, 15, 0)),
    ("+48691112233", "2024-06-30 21:45:00", PART_B[0] + PART_B[1] + PART_B[1],
     "48601000388", 0, 0, "+48691112233", (2024, 6, 30, 21, 45, 0)),
    ("600700800", "None", "Dojade o 18.",
     "", 0, 1, "+48600700800", None),
    ("+48691112233", "2024-06-30 21:45:00", PART_B[0] + PART_B[1],
     "48601000388", 0, 0, "+48691112233", (2024, 6, 30, 21, 45, 0)),
    ("+48601234567", "2024-07-01 23:59:58", "Paczka czeka w automacie do jutra.",
     "48601000322", 0, 0, "+48601234567", (2024, 7, 1, 23, 59, 58)),
]


def local_epoch(fields):
    """Seconds since 1970 of year..second read as local time, daylight saving decided by
    the system's rules, as the plug-in's decoder does."""
    return int(time.mktime(tuple(fields) + (0, 0, -1)))


def _row(number, date, text, smsc, report, mti, archive_number, stamp):
    return {
        "number": number,
        "date": date,
        "text": text,
        "archive": {
            "text": text,
            "meta": 'smsc="%s",report="%d",mti="0x%04X"' % (smsc, report, mti),
            "number": archive_number,
            "direction": SENT if mti == 1 else RECEIVED,
            "time": None if stamp is None else local_epoch(stamp),
        },
    }


def expected_rows():
    """The rows of downloading the phone of phone-stored.conf, in list order."""
    return [_row(*r) for r in _ROWS]


if __name__ == "__main__":
    import json
    print(json.dumps(expected_rows(), ensure_ascii=False, indent=1))

"""The plug-in's dialog templates read back from the real windows: a `layout` step of the
test host gives the dialog's caption, client size, dialog base units and every window's
class, text and place in pixels; tests/data/dialog_templates.json says what each template
must show, in dialog units, turned into pixels here as the dialog manager does."""
import json
import os

with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data",
                       "dialog_templates.json"), encoding="utf-8") as f:
    TEMPLATES = json.load(f)["templates"]


def pixels(value, base, units):
    """MulDiv(value, base, units): a length in dialog units in pixels."""
    return None if value is None else (2 * value * base + units) // (2 * units)


def differences(number, layout, windows):
    """What template `number` shows otherwise than it must: `layout` is a LAYOUT line's
    fields, `windows` the fields of the WINDOW lines after it. An empty list when none."""
    template = TEMPLATES[number]
    ux, uy = (int(v) for v in layout["units"].split(","))
    to_pixels = lambda rect: [pixels(v, (ux, uy)[i % 2], (4, 8)[i % 2])  # noqa: E731
                              for i, v in enumerate(rect)]
    found = []
    if template["caption"] is not None and layout["caption"] != template["caption"]:
        found.append("caption %r" % layout["caption"])
    if template["size"] is not None:
        client = [int(v) for v in layout["client"].split(",")]
        if client != to_pixels(template["size"]):
            found.append("client %s for %s dialog units" % (client, template["size"]))
    for control in template["controls"]:
        window = next((w for w in windows if int(w["id"]) == control["id"]), None)
        if window is None:
            found.append("no control %d" % control["id"])
            continue
        rect = [int(v) for v in window["rect"].split(",")]
        want = to_pixels(control["rect"] or [None] * 4)
        got = {"class": window["class"].lower(), "text": window["text"],
               "rect": [g if w is not None else None for g, w in zip(rect, want)]}
        wanted = {"class": control["class"].lower(), "text": control["text"], "rect": want}
        if control["text"] is None:
            del got["text"], wanted["text"]
        if got != wanted:
            found.append("control %d: %s, expected %s" % (control["id"], got, wanted))
    return found

#include "download/archive_entry.h"

#include <cstdio>

#include "pdu/code_page.h"

namespace tarnik {

std::u16string ArchiveNumber(std::u16string_view number) {
    std::u16string n(number);
    const bool plus = !n.empty() && n.front() == u'+';
    if (n.size() > 9 && !plus)
        return u"+" + n;
    if (n.size() >= 9 && !plus)
        return u"+48" + n;
    return n;
}

ArchiveEntry ArchiveEntryOf(const MessageGroup& group, int64_t now) {
    const SmsPdu& first = group.parts.front();
    ArchiveEntry entry;
    entry.text = group.joinedText;
    entry.number = ArchiveNumber(WidenNarrow(first.address.number));
    entry.direction = first.incoming ? kArchiveReceived : kArchiveSent;
    entry.time = first.incoming ? first.timestamp.time : now;

    char tail[64];
    std::snprintf(tail, sizeof tail, "\",report=\"%d\",mti=\"0x%04X\"",
                  static_cast<int>(first.firstOctet.statusReport),
                  static_cast<unsigned>(first.firstOctet.mti));
    entry.meta = u"smsc=\"" + WidenNarrow(first.smsc.number) + WidenNarrow(tail);
    return entry;
}

}  // namespace tarnik

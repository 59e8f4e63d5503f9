// Joining the parts of long (concatenated) messages into the rows the user sees.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pdu/sms_pdu.h"

namespace tarnik {

// One row of a download: a single message, or the parts of one long message joined.
struct MessageGroup {
    int32_t reference = -1;     // concatRef of a long message; -1 for a single message
    uint32_t total = 0;         // parts announced; not used for a single message
    std::vector<SmsPdu> parts;  // in the order they were added; the opening record first
    std::u16string joinedText;  // every part's text, widened, in the order of parts
};

// The key of a long message is (concatRef, concatTotal) alone. A group opens with a
// single message or a part numbered 1; every later part goes to every group with its
// key, in listing order; a part that finds no group is dropped.
void JoinLongMessages(const std::vector<SmsPdu>& records, std::vector<MessageGroup>& groups);

// The texts of one group's row in the message list, column by column; the window side
// only inserts them, a row at the end per group, in the order of the groups.
struct MessageListRow {
    std::u16string name;    // "Nazwa": left empty, the phone's contacts are not read
    std::u16string number;  // "Numer telefonu": the first part's sender or recipient
    std::u16string date;    // "Data": the first part's time stamp as the decoder wrote it
    std::u16string text;    // "Treść": the joined text
};

// A number longer than 9 characters is shown as international with a "+" in front,
// whatever it starts with; a shorter one, a short code or a network's service number, as
// it stands.
MessageListRow ListRowOf(const MessageGroup& group);

}  // namespace tarnik

#include "download/long_messages.h"

#include "pdu/code_page.h"

namespace tarnik {

void JoinLongMessages(const std::vector<SmsPdu>& records, std::vector<MessageGroup>& groups) {
    for (const SmsPdu& record : records) {
        if (!record.concat || record.concatSeq == 1) {
            MessageGroup group;
            if (record.concat) {
                group.reference = static_cast<int32_t>(record.concatRef);
                group.total = record.concatTotal;
            }
            group.parts.push_back(record);
            group.joinedText = WidenNarrow(record.text);
            groups.push_back(std::move(group));
            continue;
        }
        std::u16string wide;
        for (MessageGroup& group : groups) {
            if (group.reference != static_cast<int32_t>(record.concatRef) ||
                group.total != record.concatTotal) {
                continue;
            }
            if (wide.empty())
                wide = WidenNarrow(record.text);
            group.joinedText += wide;
            group.parts.push_back(record);
        }
    }
}

MessageListRow ListRowOf(const MessageGroup& group) {
    constexpr size_t kLongestLocalNumber = 9;
    const SmsPdu& first = group.parts.front();
    MessageListRow row;
    row.number = WidenNarrow(first.address.number);
    if (row.number.size() > kLongestLocalNumber)
        row.number.insert(0, 1, u'+');
    row.date = WidenNarrow(first.timestamp.text);
    row.text = group.joinedText;
    return row;
}

}  // namespace tarnik

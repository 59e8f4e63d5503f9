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

}  // namespace tarnik

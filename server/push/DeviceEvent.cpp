#include "DeviceEvent.h"

namespace tailwise::push {

EventText::EventText(std::int64_t seq, const EventParts &parts)
{
    head_ = "id: ";
    head_ += std::to_string(seq);
    head_ += R"(
data: {"aps":{)";
    if (parts.alert) {
        head_ += R"("alert":)";
        head_ += *parts.alert;
        head_ += ',';
    }
    if (parts.contentAvailable)
        head_ += R"("content-available":1,)";
    head_ += R"("badge":)";
    tail_ = R"(},"custom":)";
    tail_ += parts.custom;
    tail_ += "}\n\n";
}

std::string EventText::withBadge(std::int64_t badge) const
{
    std::string text;
    const std::string number = std::to_string(badge);
    text.reserve(head_.size() + number.size() + tail_.size());
    text += head_;
    text += number;
    text += tail_;
    return text;
}

} // namespace tailwise::push

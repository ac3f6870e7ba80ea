#include "DeviceEvent.h"

namespace tailwise::push {

std::string eventData(const EventParts &parts, std::int64_t badge)
{
    std::string data = R"({"aps":{)";
    if (parts.alert) {
        data += R"("alert":)";
        data += *parts.alert;
        data += ',';
    }
    if (parts.contentAvailable)
        data += R"("content-available":1,)";
    data += R"("badge":)";
    data += std::to_string(badge);
    data += R"(},"custom":)";
    data += parts.custom;
    data += '}';
    return data;
}

std::string sseText(std::int64_t seq, std::string_view data)
{
    std::string text = "id: ";
    text += std::to_string(seq);
    text += "\ndata: ";
    text += data;
    text += "\n\n";
    return text;
}

} // namespace tailwise::push

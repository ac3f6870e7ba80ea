#include "Module/Chat/Model/TypingAndOnlineHandler.h"

#include "Platform/Database.h"

TypingAndOnlineHandler &TypingAndOnlineHandler::shared()
{
    static TypingAndOnlineHandler instance;
    return instance;
}

void TypingAndOnlineHandler::applicationIsTerminating() const
{
    if (lastTypingRef_)
        lastTypingRef_->setValue(QVariantMap{{QStringLiteral("isTyping"), false}});
    if (!userLastReadMessageRef_)
        return;
    const DatabaseReference reading = *userLastReadMessageRef_;
    reading.getData([reading](const std::optional<QString> &error, const DataSnapshot &stored) {
        if (!error && stored.exists())
            reading.setValue(QVariantMap{{QStringLiteral("read_status"), false}});
    });
}

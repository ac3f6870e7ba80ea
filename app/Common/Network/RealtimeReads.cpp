#include "Common/Network/RealtimeReads.h"

#include "Platform/Print.h"

namespace {

class NotWiredReads final : public RealtimeReads
{
public:
    void readUserNode(const QString &userId, std::function<void(const QVariantMap &)> done) override
    {
        print(QStringLiteral("Realtime database: not wired yet; node of user %1 not read")
                  .arg(userId));
        done({});
    }
    void readFavouriteMark(const QString &userId, const QString &otherUserId,
                           std::function<void(const std::optional<QVariant> &)> done) override
    {
        print(QStringLiteral("Realtime database: not wired yet; favourite mark %1/%2 not read")
                  .arg(userId, otherUserId));
        done(std::nullopt);
    }
};

NotWiredReads notWired;
RealtimeReads *installed = nullptr;

} // namespace

RealtimeReads &RealtimeReads::standard()
{
    return installed ? *installed : notWired;
}

void RealtimeReads::setStandard(RealtimeReads *reads)
{
    installed = reads;
}

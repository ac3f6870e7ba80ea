#include "Module/FindDog/PartnerPrivacy.h"

#include "Module/Chat/Model/StatusHandler.h"

#include <memory>

namespace {

struct Pending
{
    QString pictureChoice;
    QString presenceChoice;
    bool markedViewer = false;
    bool online = false;
    int outstanding = 4;
    std::function<void(const PartnerVisibility &)> done;

    void arrived()
    {
        if (--outstanding > 0)
            return;
        done({isVisibleUnder(pictureChoice, markedViewer),
              isVisibleUnder(presenceChoice, markedViewer), online});
    }
};

} // namespace

void readPartnerVisibility(const QString &partnerId, const QString &viewerId,
                           std::function<void(const PartnerVisibility &)> done)
{
    auto pending = std::make_shared<Pending>();
    pending->done = std::move(done);
    const StatusHandler status;
    status.userImgStatus(partnerId, [pending](const QString &choice) {
        pending->pictureChoice = choice;
        pending->arrived();
    });
    status.userDataPro(partnerId, [pending](const QString &choice) {
        pending->presenceChoice = choice;
        pending->arrived();
    });
    status.hasMarked(partnerId, viewerId, [pending](bool marked) {
        pending->markedViewer = marked;
        pending->arrived();
    });
    status.isOnline(partnerId, [pending](const QString &presence) {
        pending->online = presence == QLatin1String("Online");
        pending->arrived();
    });
}

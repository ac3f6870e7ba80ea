#include "Module/FindDog/FavouriteMarker.h"

#include "Deployment.h"
#include "LoginDefaults.h"
#include "Module/Chat/Model/Connectivity.h"
#include "Module/FindDog/FindDogDataManager.h"
#include "Platform/UI/Lifetime.h"

#include <QTimer>

#include <memory>

namespace {
const QString connectionMessage = QStringLiteral("Please check your internet connection");
} // namespace

void FavouriteMarker::setMark(const QString &partnerId, bool favourite, Done done)
{
    if (!Connectivity::isConnectedToInternet()) {
        done(false, connectionMessage);
        return;
    }
    // Whichever comes first, the answer or the deadline, answers; the other finds it settled.
    auto settle = std::make_shared<Done>(std::move(done));
    const auto answer = [settle](bool success, const QString &why) {
        if (!*settle)
            return;
        const Done once = std::exchange(*settle, nullptr);
        once(success, why);
    };
    QTimer::singleShot(Deployment::requestTimeout() + std::chrono::seconds(1), this,
                       [answer] { answer(false, connectionMessage); });
    FindDogDataManager().createFavUser(LoginDefaults().userId().value_or(QString()), partnerId,
                                       favourite ? QStringLiteral("1") : QStringLiteral("0"),
                                       whileAlive(this, answer));
}

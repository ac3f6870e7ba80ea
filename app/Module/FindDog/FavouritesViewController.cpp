#include "Module/FindDog/FavouritesViewController.h"

FavouritesViewController::FavouritesViewController(QObject *parent)
    : PartnerListViewController(parent)
{
    setTitleKey(QStringLiteral("Favourites"));
    reload_.setSingleShot(true);
    reload_.setInterval(300);
    connect(&reload_, &QTimer::timeout, this, [this] {
        if (loadedOnce())
            refresh();
    });
}

void FavouritesViewController::fetchPage(FindDogDataManager &manager, const QString &me,
                                         FindDogDataManager::Page page, ResultCompletion completion)
{
    manager.getFavUsers(me, QString(), page, std::move(completion));
}

QString FavouritesViewController::noPartnersTitleKey() const
{
    return QStringLiteral("No favourites yet");
}

QString FavouritesViewController::noPartnersDetailKey() const
{
    return QStringLiteral("Tap the heart of a dog owner you like, and they are kept here.");
}

void FavouritesViewController::marksChanged(const QVariantMap &markByUser)
{
    // Unmarked here: the row goes at once. Marked or unmarked anywhere: the list is read again.
    for (auto it = markByUser.begin(); it != markByUser.end(); ++it)
        if (it.value().toString() != QLatin1String("1")) {
            QList<User> kept;
            for (int row = 0; row < partners()->count(); ++row)
                if (partners()->partner(row)->userId != it.key())
                    kept << *partners()->partner(row);
            if (kept.size() != partners()->count())
                partners()->setPartners(kept);
        }
    PartnerListViewController::marksChanged(markByUser);
    // The first answer is what the list was loaded with.
    if (marksKnown_ && markByUser != marks_)
        reload_.start();
    marksKnown_ = true;
    marks_ = markByUser;
}

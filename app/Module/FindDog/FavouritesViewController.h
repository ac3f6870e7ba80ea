#pragma once

#include "Module/FindDog/PartnerListViewController.h"

#include <QTimer>

// The dog owners the signed-in user has marked. It follows the marks in the database, so a
// partner marked or unmarked on any screen comes and goes here without a manual refresh.
class FavouritesViewController : public PartnerListViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")

public:
    explicit FavouritesViewController(QObject *parent = nullptr);

protected:
    void fetchPage(FindDogDataManager &manager, const QString &me, FindDogDataManager::Page page,
                   ResultCompletion completion) override;
    QString noPartnersTitleKey() const override;
    QString noPartnersDetailKey() const override;
    void marksChanged(const QVariantMap &markByUser) override;

private:
    QVariantMap marks_;
    bool marksKnown_ = false;
    // Several marks in a row are one reload.
    QTimer reload_;
};

#pragma once

#include "Module/FindDog/PartnerListViewController.h"
#include "Platform/Location.h"

#include <optional>

// The partner search: dog owners near the signed-in user, nearest first, filtered by gender.
// A significant move of the device looks again.
class FindDogViewController : public PartnerListViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(int filterIndex READ filterIndex WRITE setFilterIndex NOTIFY filterChanged)

public:
    // A move further than this reloads the list.
    static constexpr double significantMetres = 1000.0;

    explicit FindDogViewController(QObject *parent = nullptr);

    // 0: everyone, 1: men, 2: women.
    int filterIndex() const { return filterIndex_; }
    void setFilterIndex(int index);
    // What the backend is sent: "" for everyone, else the UserFilter text.
    QString filterText() const;

    // The device moved: a move further than significantMetres from where the list was loaded
    // sends the new position to the backend and then loads the list again.
    void locationChanged(const CLLocationCoordinate2D &coordinate);

Q_SIGNALS:
    void filterChanged();

protected:
    void fetchPage(FindDogDataManager &manager, const QString &me, FindDogDataManager::Page page,
                   ResultCompletion completion) override;
    QString noPartnersTitleKey() const override;
    QString noPartnersDetailKey() const override;
    void viewDidLoad() override;

private:
    int filterIndex_ = 0;
    std::optional<CLLocationCoordinate2D> loadedAt_;
};

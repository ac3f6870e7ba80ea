#pragma once

#include "Module/FindDog/FavouriteMarker.h"
#include "Module/FindDog/FindDogDataManager.h"
#include "Module/FindDog/PartnerListModel.h"
#include "Platform/Database.h"
#include "Platform/Location.h"
#include "Platform/UI/ViewController.h"

#include <QStringList>
#include <QTimer>

#include <optional>

// The partner search: dog owners near the signed-in user, nearest first, filtered by gender,
// page by page as the list is scrolled. Tapping a row opens that partner's detail.
class FindDogViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(PartnerListModel *partners READ partners CONSTANT)
    Q_PROPERTY(int filterIndex READ filterIndex WRITE setFilterIndex NOTIFY filterChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY stateChanged)
    Q_PROPERTY(bool loadingMore READ loadingMore NOTIFY stateChanged)
    Q_PROPERTY(QString emptyTitle READ emptyTitle NOTIFY stateChanged)
    Q_PROPERTY(QString emptyDetail READ emptyDetail NOTIFY stateChanged)
    Q_PROPERTY(QString emptyIcon READ emptyIcon NOTIFY stateChanged)

public:
    // Rows asked for at a time; the backend serves at most 20 pages.
    static constexpr int pageSize = 50;
    static constexpr int lastPage = 19;
    // A move further than this reloads the list.
    static constexpr double significantMetres = 1000.0;

    // Why the list is empty (or why it is not up to date).
    enum class Empty
    {
        None,
        Loading,
        NoPartners,
        Offline,
        Failed
    };
    Q_ENUM(Empty)

    explicit FindDogViewController(QObject *parent = nullptr);
    ~FindDogViewController() override;

    PartnerListModel *partners() { return &partners_; }
    // 0: everyone, 1: men, 2: women.
    int filterIndex() const { return filterIndex_; }
    void setFilterIndex(int index);
    // What the backend is sent: "" for everyone, else the UserFilter text.
    QString filterText() const;

    bool loading() const { return loading_; }
    bool loadingMore() const { return loadingMore_; }
    Empty empty() const { return empty_; }
    QString emptyTitle() const;
    QString emptyDetail() const;
    QString emptyIcon() const;

    // From the top: the first page again.
    Q_INVOKABLE void refresh();
    // The view reached the end of the rows: the next page, when there is one.
    Q_INVOKABLE void loadMore();
    Q_INVOKABLE void openPartner(int row);
    // Marks or unmarks the row's partner at once; a refusal puts the mark back and says why.
    Q_INVOKABLE void toggleFavourite(int row);
    // The device moved; a significant move reloads the list.
    void locationChanged(const CLLocationCoordinate2D &coordinate);

Q_SIGNALS:
    void filterChanged();
    void stateChanged();

protected:
    void viewDidLoad() override;
    void viewWillAppear() override;

private:
    void load(int page);
    void pageArrived(int generation, int page, bool success, const QString &message,
                     const QList<User> &rows);
    void pageTimedOut(int generation);
    void setState(bool loading, bool loadingMore, Empty empty);
    void followFavourites(const QString &me);

    PartnerListModel partners_;
    FavouriteMarker marker_;
    int filterIndex_ = 0;
    bool loading_ = false;
    bool loadingMore_ = false;
    Empty empty_ = Empty::Loading;
    QString failure_;
    int generation_ = 0;
    int nextPage_ = 0;
    bool morePages_ = false;
    bool loadedOnce_ = false;
    QTimer answerDeadline_;
    std::optional<CLLocationCoordinate2D> loadedAt_;
    std::optional<DatabaseReference> favourites_;
    DatabaseHandle favouritesHandle_ = 0;
};

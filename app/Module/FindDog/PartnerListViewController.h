#pragma once

#include "Module/FindDog/FavouriteMarker.h"
#include "Module/FindDog/FindDogDataManager.h"
#include "Module/FindDog/PartnerListModel.h"
#include "Platform/Database.h"
#include "Platform/DatabaseObservation.h"
#include "Platform/UI/ViewController.h"

#include <QTimer>

#include <optional>

// A screen that lists dog owners page by page: loading, paging, the empty state and why,
// pictures and presence as each owner allows, favourite marks that follow the database, and
// the way into a partner's detail. Subclasses say which list it is.
class PartnerListViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(PartnerListModel *partners READ partners CONSTANT)
    Q_PROPERTY(bool loading READ loading NOTIFY stateChanged)
    Q_PROPERTY(bool loadingMore READ loadingMore NOTIFY stateChanged)
    Q_PROPERTY(QString emptyTitle READ emptyTitle NOTIFY stateChanged)
    Q_PROPERTY(QString emptyDetail READ emptyDetail NOTIFY stateChanged)
    Q_PROPERTY(QString emptyIcon READ emptyIcon NOTIFY stateChanged)

public:
    // Rows asked for at a time; the backend serves at most 20 pages.
    static constexpr int pageSize = 50;
    static constexpr int lastPage = 19;

    // Why the list is empty.
    enum class Empty
    {
        None,
        Loading,
        NoPartners,
        Offline,
        Failed
    };
    Q_ENUM(Empty)

    explicit PartnerListViewController(QObject *parent = nullptr);
    ~PartnerListViewController() override;

    PartnerListModel *partners() { return &partners_; }
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

Q_SIGNALS:
    void stateChanged();

protected:
    // One page of this list, answered through the manager's rows.
    virtual void fetchPage(FindDogDataManager &manager, const QString &me,
                           FindDogDataManager::Page page, ResultCompletion completion) = 0;
    // The texts of the empty list with nobody in it: a string-table key each.
    virtual QString noPartnersTitleKey() const = 0;
    virtual QString noPartnersDetailKey() const = 0;
    // The signed-in user's marks as the database holds them changed (by user id: "1" marks).
    virtual void marksChanged(const QVariantMap &markByUser);

    void viewDidLoad() override;
    void viewWillAppear() override;
    bool loadedOnce() const { return loadedOnce_; }

private:
    void load(int page);
    void pageArrived(int generation, int page, bool success, const QString &message,
                     const QList<User> &rows);
    void answerMissing(int generation);
    // Tells what went wrong: in the empty state when nothing is shown, else in an alert.
    void failed(Empty emptyState, const QString &messageKey);
    void setState(bool loading, bool loadingMore, Empty empty);
    void followFavourites(const QString &me);

    PartnerListModel partners_;
    FavouriteMarker marker_;
    bool loading_ = false;
    bool loadingMore_ = false;
    Empty empty_ = Empty::Loading;
    QString failure_;
    int generation_ = 0;
    int nextPage_ = 0;
    bool morePages_ = false;
    bool loadedOnce_ = false;
    QTimer answerDeadline_;
    DatabaseObservation favourites_;
};

#pragma once

#include "Module/Profile/ProfilleDataManager.h"
#include "Platform/UI/ViewController.h"

#include <QPointer>
#include <QStringList>
#include <QVariantMap>

class NavigationController;
Q_MOC_INCLUDE("Platform/UI/NavigationController.h")

// Asked of the tab screen by the section screens that want more room (a keyboard, a long
// form): the tab row is hidden while the flag is set.
class TabBarControllerDelegate
{
public:
    virtual ~TabBarControllerDelegate() = default;
    virtual void increaseContentSize(bool flag) = 0;
};

// The profile screens hand a changed picture or changed fields to the tab screen, which keeps
// the signed-in user's mirror in the realtime database up to date.
class updateUserData
{
public:
    virtual ~updateUserData() = default;
    virtual void onlyImage(const QString &imageUrl) = 0;
    virtual void updateParam(const QVariantMap &Dict) = 0;
};

// The screen after sign-in: a row of six buttons that swaps the content between the search,
// favourites, chats, information, profile and settings sections, each its own navigation
// stack from the "TabBar" storyboard. Exactly one button is highlighted.
class TabsController : public ViewController, public TabBarControllerDelegate, public updateUserData
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(int selectedIndex READ selectedIndex NOTIFY sectionChanged)
    Q_PROPERTY(NavigationController *section READ section NOTIFY sectionChanged)
    Q_PROPERTY(bool offline READ isOffline NOTIFY offlineChanged)
    Q_PROPERTY(bool sharePanelVisible READ isSharePanelVisible NOTIFY sharePanelChanged)
    Q_PROPERTY(QString shareText READ shareText NOTIFY retranslate)
    Q_PROPERTY(bool contentIncreased READ isContentIncreased NOTIFY contentIncreasedChanged)

public:
    enum Tab
    {
        search,
        favourites,
        chats,
        info,
        profile,
        settings
    };

    explicit TabsController(QObject *parent = nullptr);

    int selectedIndex() const { return selectedIndex_; }
    NavigationController *section() const { return section_; }
    // The screen at the root of the section on display.
    ViewController *sectionScreen() const;
    bool isOffline() const { return offline_; }
    bool isSharePanelVisible() const { return sharePanelVisible_; }
    QString shareText() const;
    bool isContentIncreased() const { return contentIncreased_; }
    const QVariantMap &userData() const { return userData_; }

    // The button actions; `tag` is the pressed button's number.
    Q_INVOKABLE void openSearchVC(int tag = search);
    Q_INVOKABLE void openFavouriteVC(int tag = favourites);
    Q_INVOKABLE void openChatVC(int tag = chats);
    Q_INVOKABLE void openInfo(int tag = info);
    Q_INVOKABLE void openProfile(int tag = profile);
    Q_INVOKABLE void openSettings(int tag = settings);
    Q_INVOKABLE void highlightTab(int index);
    Q_INVOKABLE void shareAction();
    Q_INVOKABLE void shareCancelction();
    // Copies the share text and closes the panel.
    Q_INVOKABLE void copyShareLink();

    void increaseContentSize(bool flag) override;
    void onlyImage(const QString &imageUrl) override;
    void updateParam(const QVariantMap &Dict) override;
    // The mirror of the signed-in user, from what the tab screen knows of them.
    void saveUserData();
    void fetchProfileInfo();

Q_SIGNALS:
    void sectionChanged();
    void offlineChanged();
    void sharePanelChanged();
    void contentIncreasedChanged();

protected:
    void viewDidLoad() override;
    ViewController *shownChild() const override;

private:
    void prepareItemsForPresentation();
    void checkConnection();
    void showSection(int tag, int identifier);

    int selectedIndex_ = -1;
    QPointer<NavigationController> section_;
    bool offline_ = false;
    bool sharePanelVisible_ = false;
    bool contentIncreased_ = false;
    QVariantMap userData_;
    ProfilleDataManager profileManager_;
};

// The real window against a real tailwise-server: a newcomer registers, completes the profile
// with a picture, lands on the tabs, visits every tab, signs out and in again, and runs into
// the sign-in lock. A PNG of every screen goes to the build tree, in German and English.
#include "TestSupport.h"

#include "AppDelegate.h"
#include "Common/Extensions/Localizable.h"
#include "Constants.h"
#include "LoginDefaults.h"
#include "Module/Chat/ChatList/ChatListVC.h"
#include "Module/Chat/ChatVc/ChatViewController.h"
#include "Module/FindDog/FavouritesViewController.h"
#include "Module/FindDog/FindDogViewController.h"
#include "Module/FindDog/PartnerDetailViewController.h"
#include "Module/Info/ImfoViewController.h"
#include "Module/Info/ShareViewController.h"
#include "Module/Login/LoginViewController.h"
#include "Module/Main/MainViewController.h"
#include "Module/Profile/UserProfileViewController.h"
#include "Module/Register/ProfileRegister/RegisterProfileViewController.h"
#include "Module/Register/RegisterViewController.h"
#include "Module/Setting/ChangePassword/ChangePasswordViewController.h"
#include "Module/Setting/DataProtection/DataProtectionController.h"
#include "Module/Setting/Delete/DeleteAccViewController.h"
#include "Module/Setting/Notification/NotificationSettingsController.h"
#include "Module/Setting/SetingViewController.h"
#include "Module/Tabs/TabsController.h"
#include "Platform/OneSignal.h"
#include "Platform/UI/AppWindowEngine.h"
#include "Platform/UI/ItemLookup.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/Window.h"
#include "Platform/UserDefaults.h"
#include "Storyboards.h"

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QProcess>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

namespace {

class UiFlow : public LiveBackend
{
protected:
    void SetUp() override
    {
        LiveBackend::SetUp();
        location_ = std::make_unique<ScopedEnvironment>("TAILWISE_LOCATION", "52.5200,13.4050");
        oneSignal_ = std::make_unique<OneSignal>(UserDefaults::standard(), center_);
        delegate_ = std::make_unique<AppDelegate>(appDatabase_->client(), center_, *oneSignal_);
        QDir().mkpath(QStringLiteral(TAILWISE_SCREENSHOT_DIR));
    }
    void TearDown() override
    {
        driver_.reset();
        engine_.reset();
        delegate_.reset();
        oneSignal_.reset();
        LiveBackend::TearDown();
    }

    void openWindow()
    {
        engine_ = std::make_unique<QQmlApplicationEngine>();
        QObject::connect(engine_.get(), &QQmlEngine::warnings, engine_.get(),
                         [this](const QList<QQmlError> &errors) {
                             for (const QQmlError &error : errors)
                                 warnings_ << error.toString();
                         });
        window_ = loadAppWindow(*engine_, *delegate_->window(), center_.banner());
        ASSERT_NE(window_, nullptr) << warnings_.join('\n').toStdString();
        window_->requestActivate();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window_));
        driver_ = std::make_unique<ItemDriver>(window_);
    }

    QObject *object(const QString &name) { return driver_->object(name); }
    QQuickItem *item(const QString &name) { return driver_->item(name); }
    bool click(const QString &name) { return driver_->click(name); }
    bool type(const QString &name, const QString &text) { return driver_->type(name, text); }
    // Answers the alert on display with its first button; its message, or a note that none came.
    QString answerAlert()
    {
        QQuickItem *message = item(QStringLiteral("alertMessage"));
        const QString text = message ? message->property("text").toString() : QString();
        if (!click(QStringLiteral("alertAction0")))
            return QStringLiteral("<no alert>");
        waitUntil([this] { return delegate_->window()->alert() == nullptr; });
        return text;
    }
    void screenshot(const QString &name)
    {
        EXPECT_TRUE(
            driver_->screenshot(QStringLiteral(TAILWISE_SCREENSHOT_DIR "/") + name + ".png"))
            << name.toStdString();
    }
    // The screen on top of the tab screen's section, when it is a `Screen`.
    template <typename Screen>
    Screen *sectionTop()
    {
        auto *tabs = qobject_cast<TabsController *>(delegate_->window()->rootViewController());
        NavigationController *section = tabs ? tabs->section() : nullptr;
        return section ? qobject_cast<Screen *>(section->topViewController()) : nullptr;
    }
    template <typename Screen>
    bool showingInSection()
    {
        return waitUntil([this] { return sectionTop<Screen>() != nullptr; }, 8000);
    }
    // Signs in through the landing and sign-in screens.
    void signInThroughTheScreens(const QString &email, const QString &password)
    {
        ASSERT_TRUE(showing<MainViewController>());
        ASSERT_TRUE(click("emailLoginButton"));
        ASSERT_TRUE(showing<LoginViewController>());
        ASSERT_TRUE(type("emailField", email));
        ASSERT_TRUE(type("passwordField", password));
        ASSERT_TRUE(click("signInButton"));
    }
    template <typename Screen>
    bool showing()
    {
        return waitUntil(
            [this] {
                ViewController *root = delegate_->window()->rootViewController();
                auto *stack = qobject_cast<NavigationController *>(root);
                ViewController *top = stack ? stack->topViewController() : root;
                return qobject_cast<Screen *>(top) != nullptr;
            },
            8000);
    }
    void setLanguage(const char *code)
    {
        storeLanguageForSwitch(QString::fromLatin1(code) == "de");
    }

    ScopedStoryboards storyboards_{appStoryboards()};
    std::unique_ptr<ScopedEnvironment> location_;
    NotificationCenter center_;
    std::unique_ptr<OneSignal> oneSignal_;
    std::unique_ptr<AppDelegate> delegate_;
    std::unique_ptr<QQmlApplicationEngine> engine_;
    QQuickWindow *window_ = nullptr;
    std::unique_ptr<ItemDriver> driver_;
    QStringList warnings_;
};

TEST_F(UiFlow, ANewcomerRegistersCompletesTheProfileAndFindsTheTabs)
{
    ActiveApplication active;
    ASSERT_TRUE(delegate_->application({}));
    openWindow();

    // Landing, in both languages; the switch stores the language at once.
    ASSERT_TRUE(showing<MainViewController>());
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("landing_%1").arg(code));
    }
    ASSERT_TRUE(click("languageSwitch"));
    EXPECT_EQ(UserDefaults::standard().string(Constants::userDefaults::languagecode), "en");
    ASSERT_TRUE(click("languageSwitch"));
    EXPECT_EQ(UserDefaults::standard().string(Constants::userDefaults::languagecode), "de");

    // Registration.
    ASSERT_TRUE(click("registerButton"));
    ASSERT_TRUE(showing<RegisterViewController>());
    ASSERT_TRUE(type("emailField", "nora@example.com"));
    ASSERT_TRUE(type("passwordField", "wuff-wuff-1"));
    ASSERT_TRUE(type("confirmPasswordField", "wuff-wuff-1"));
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("register_%1").arg(code));
    }
    ASSERT_TRUE(click("registerButton"));
    EXPECT_FALSE(answerAlert().startsWith('<'));

    // The profile, with a picture from disk.
    ASSERT_TRUE(showing<RegisterProfileViewController>());
    QTemporaryDir pictures;
    QImage picture(640, 480, QImage::Format_RGB32);
    picture.fill(QColor("#C98F5A"));
    const QString picturePath = pictures.filePath(QStringLiteral("nora.jpg"));
    ASSERT_TRUE(picture.save(picturePath, "JPEG"));
    QObject *dialog = object(QStringLiteral("pictureDialog"));
    ASSERT_NE(dialog, nullptr);
    // The platform's file dialog is not driven here: the file is chosen as the dialog would.
    ASSERT_TRUE(click("choosePictureButton"));
    ASSERT_TRUE(waitUntil([&] { return dialog->property("visible").toBool(); }));
    dialog->setProperty("selectedFile", QUrl::fromLocalFile(picturePath));
    QMetaObject::invokeMethod(dialog, "accepted");
    QMetaObject::invokeMethod(dialog, "close");
    ASSERT_TRUE(waitUntil([&] {
        return item("picturePreview")->property("pictureSource").toUrl() ==
               QUrl::fromLocalFile(picturePath);
    }));
    ASSERT_TRUE(type("nameField", "Nora"));
    ASSERT_TRUE(click("gender_female"));
    ASSERT_TRUE(type("ageField", "34"));
    ASSERT_TRUE(type("aboutMeField", "Early walks in the park."));
    ASSERT_TRUE(click("numberOfDogs_1"));
    ASSERT_TRUE(type("dogNameField", "Pepper"));
    ASSERT_TRUE(type("aboutDogField", "A curious beagle."));
    EXPECT_FALSE(item("addressField")->property("text").toString().isEmpty())
        << "the address comes from the location";
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("profile_registration_%1").arg(code));
    }
    ASSERT_TRUE(click("saveButton"));

    // The tabs, every section in turn.
    ASSERT_TRUE(showing<TabsController>()) << answerAlert().toStdString();
    EXPECT_EQ(UserDefaults::standard().string(RegisterStatus::key), RegisterStatus::success);
    auto *tabs = qobject_cast<TabsController *>(delegate_->window()->rootViewController());
    for (int tab = 0; tab < 6; ++tab) {
        ASSERT_TRUE(click(QStringLiteral("tab%1").arg(tab)));
        EXPECT_EQ(tabs->selectedIndex(), tab);
    }
    ASSERT_TRUE(click("tab0"));
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("tabs_%1").arg(code));
    }

    // Signing out through the session store leads back to the landing screen; signing in
    // again goes straight to the tabs.
    const QString userId = LoginDefaults().userId().value_or(QString());
    ASSERT_FALSE(userId.isEmpty());
    LoginDefaults().logOut();
    delegate_->loginScreen();
    ASSERT_TRUE(showing<MainViewController>());
    ASSERT_TRUE(click("emailLoginButton"));
    ASSERT_TRUE(showing<LoginViewController>());
    ASSERT_TRUE(type("emailField", "nora@example.com"));
    ASSERT_TRUE(type("passwordField", "wuff-wuff-1"));
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("sign_in_%1").arg(code));
    }
    ASSERT_TRUE(click("signInButton"));
    ASSERT_TRUE(showing<TabsController>()) << answerAlert().toStdString();

    // Quitting marks the user offline in the database (once the sign-in's mirror is in).
    ASSERT_TRUE(waitUntil([&] {
        return storedValue(appDatabase_->client(), "Users/" + userId + "/status") == "Online";
    }));
    QTest::qWait(500);
    delegate_->applicationWillTerminate();
    ASSERT_TRUE(appDatabase_->waitUntilWritten());
    EXPECT_TRUE(waitUntil([&] {
        return storedValue(appDatabase_->client(), "Users/" + userId + "/status") == "Offline";
    }));

    // Three wrong passwords lock the sign-in screen, with a countdown on display.
    LoginDefaults().logOut();
    delegate_->loginScreen();
    ASSERT_TRUE(click("emailLoginButton"));
    ASSERT_TRUE(showing<LoginViewController>());
    ASSERT_TRUE(type("emailField", "nora@example.com"));
    ASSERT_TRUE(type("passwordField", "not-her-password"));
    for (int attempt = 0; attempt < 3; ++attempt) {
        ASSERT_TRUE(click("signInButton"));
        const QString message = answerAlert();
        EXPECT_FALSE(message.startsWith('<')) << attempt << message.toStdString();
    }
    ASSERT_NE(item("lockText"), nullptr);
    EXPECT_FALSE(item("lockText")->property("text").toString().isEmpty());
    screenshot(QStringLiteral("sign_in_locked_de"));
    EXPECT_TRUE(warnings_.isEmpty()) << warnings_.join('\n').toStdString();
}

// A dog owner among the demo neighbours: the nearest first, a filter, a partner's detail and
// a favourite, the favourites, and the own profile with a new picture.
TEST_F(UiFlow, ADogOwnerFindsPartnersMarksAFavouriteAndChangesTheProfilePicture)
{
    QProcess seed;
    seed.start(QStringLiteral(TAILWISE_SEED_BINARY),
               {QStringLiteral("--backend"), server_.backendUrl(), QStringLiteral("--database"),
                server_.databaseUrl(), QStringLiteral("--count"), QStringLiteral("12"),
                QStringLiteral("--near"), QStringLiteral("52.5200,13.4050")});
    ASSERT_TRUE(seed.waitForFinished(60000));
    ASSERT_EQ(seed.exitCode(), 0) << seed.readAllStandardError().toStdString();

    ActiveApplication active;
    ASSERT_TRUE(delegate_->application({}));
    openWindow();
    setLanguage("en");
    signInThroughTheScreens("demo@demo.tailwise.example", "tailwise-demo");
    ASSERT_TRUE(showing<TabsController>()) << answerAlert().toStdString();

    // The search: the demo neighbours, nearest first.
    ASSERT_TRUE(showingInSection<FindDogViewController>());
    FindDogViewController *search = sectionTop<FindDogViewController>();
    ASSERT_TRUE(waitUntil([&] { return search->partners()->count() == 11; }, 10000));
    double previous = -1;
    for (int row = 0; row < search->partners()->count(); ++row) {
        const double km = search->partners()->partner(row)->distance.toDouble();
        EXPECT_GE(km, previous) << row;
        previous = km;
    }
    ASSERT_TRUE(waitUntil(
        [&] { return search->partners()->hasVisibility(search->partners()->partner(0)->userId); }));
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("search_%1").arg(code));
    }
    ASSERT_TRUE(click("partnerFilter_2"));
    ASSERT_TRUE(waitUntil([&] { return !search->loading() && search->filterIndex() == 2; }));
    for (int row = 0; row < search->partners()->count(); ++row)
        EXPECT_EQ(search->partners()->partner(row)->gender, "female");
    screenshot(QStringLiteral("search_female_de"));

    // A partner's detail, marked as a favourite.
    const User nearest = *search->partners()->partner(0);
    ASSERT_TRUE(click("partnerRow_" + nearest.userId));
    ASSERT_TRUE(showingInSection<PartnerDetailViewController>());
    PartnerDetailViewController *detail = sectionTop<PartnerDetailViewController>();
    // The demo neighbours mark some of each other already: start from no mark.
    if (detail->favourite()) {
        ASSERT_TRUE(click("favouriteToggle"));
        ASSERT_TRUE(waitUntil([&] { return !detail->favourite() && !detail->favouriteBusy(); }));
    }
    ASSERT_TRUE(click("favouriteToggle"));
    ASSERT_TRUE(waitUntil([&] { return detail->favourite() && !detail->favouriteBusy(); }));
    const QString me = LoginDefaults().userId().value_or(QString());
    EXPECT_TRUE(waitUntil([&] {
        return storedValue(appDatabase_->client(),
                           "Favourite/" + me + "/" + nearest.userId + "/Favourite") == "1";
    }));
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("partner_detail_%1").arg(code));
    }

    // A message from the detail, then the conversation in the chat list.
    ASSERT_TRUE(click("chatButton"));
    ASSERT_TRUE(showingInSection<ChatViewController>());
    ChatViewController *chat = sectionTop<ChatViewController>();
    ASSERT_TRUE(type("messageField", "Hallo! Gassi morgen um 8?"));
    ASSERT_TRUE(click("sendButton"));
    ASSERT_TRUE(waitUntil([&] { return chat->messages()->count() == 1; }, 10000));
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("conversation_%1").arg(code));
    }
    ASSERT_TRUE(click("tab2"));
    ASSERT_TRUE(showingInSection<ChatListVC>());
    ChatListVC *chats = sectionTop<ChatListVC>();
    ASSERT_TRUE(waitUntil([&] { return chats->chats()->rowOf(nearest.userId) == 0; }, 10000));
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("chat_list_%1").arg(code));
    }

    // The favourites hold the partner.
    ASSERT_TRUE(click("tab1"));
    ASSERT_TRUE(showingInSection<FavouritesViewController>());
    FavouritesViewController *favourites = sectionTop<FavouritesViewController>();
    ASSERT_TRUE(
        waitUntil([&] { return favourites->partners()->rowOf(nearest.userId) >= 0; }, 10000));
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("favourites_%1").arg(code));
    }

    // The settings, the privacy choices and the account deletion, as they look.
    ASSERT_TRUE(click("tab5"));
    ASSERT_TRUE(showingInSection<SetingViewController>());
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("settings_%1").arg(code));
    }
    ASSERT_TRUE(click("SettingCellid_0"));
    ASSERT_TRUE(showingInSection<DataProtectionController>());
    ASSERT_TRUE(click("btnLastFav"));
    EXPECT_TRUE(waitUntil([&] {
        return storedValue(appDatabase_->client(), "DataProtection/" + me + "/lastseen_status") ==
               "Only Favourite";
    }));
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("data_protection_%1").arg(code));
    }
    ASSERT_TRUE(click("backButton"));
    ASSERT_TRUE(showingInSection<SetingViewController>());
    ASSERT_TRUE(click("SettingCellid_3"));
    ASSERT_TRUE(showingInSection<DeleteAccViewController>());
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("delete_account_%1").arg(code));
    }
    ASSERT_TRUE(click("backButton"));
    ASSERT_TRUE(click("SettingCellid_1"));
    ASSERT_TRUE(showingInSection<NotificationSettingsController>());
    ASSERT_TRUE(click("light1"));
    EXPECT_EQ(LoginDefaults().ledColour(), 2);
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("notification_settings_%1").arg(code));
    }

    // The information screen, and the invitation it shares through the clipboard.
    ASSERT_TRUE(click("tab3"));
    ASSERT_TRUE(showingInSection<ImfoViewController>());
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("info_%1").arg(code));
    }
    ASSERT_TRUE(click("shareScreenButton"));
    ASSERT_TRUE(showingInSection<ShareViewController>());
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("share_%1").arg(code));
    }
    ASSERT_TRUE(click("copyLinkButton"));
    const QString copied = QGuiApplication::clipboard()->text();
    EXPECT_TRUE(copied.startsWith("Komm zu Tailwise") && copied.contains(iOSAppLink) &&
                copied.contains(androidAppLink))
        << copied.toStdString();
    EXPECT_EQ(answerAlert(), copied);

    // The own profile, with a new picture that reaches the user's mirror.
    ASSERT_TRUE(click("tab4"));
    ASSERT_TRUE(showingInSection<UserProfileViewController>());
    UserProfileViewController *profile = sectionTop<UserProfileViewController>();
    ASSERT_TRUE(waitUntil([&] { return !profile->loading() && !profile->name.isEmpty(); }));
    const QString before =
        storedValue(appDatabase_->client(), "Users/" + me + "/profilePic").toString();
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("own_profile_%1").arg(code));
    }
    ASSERT_TRUE(click("changePasswordButton"));
    ASSERT_TRUE(showingInSection<ChangePasswordViewController>());
    for (const char *code : {"en", "de"}) {
        setLanguage(code);
        screenshot(QStringLiteral("change_password_%1").arg(code));
    }
    ASSERT_TRUE(click("backButton"));
    ASSERT_TRUE(showingInSection<UserProfileViewController>());
    ASSERT_TRUE(click("editProfileButton"));
    QTemporaryDir pictures;
    QImage picture(400, 400, QImage::Format_RGB32);
    picture.fill(QColor("#5A8FC9"));
    const QString picturePath = pictures.filePath(QStringLiteral("new.png"));
    ASSERT_TRUE(picture.save(picturePath, "PNG"));
    profile->choosePicture(QUrl::fromLocalFile(picturePath));
    screenshot(QStringLiteral("own_profile_editing_de"));
    ASSERT_TRUE(click("saveButton"));
    ASSERT_TRUE(waitUntil([&] { return !profile->editing(); }, 10000))
        << answerAlert().toStdString();
    EXPECT_TRUE(waitUntil(
        [&] {
            const QString now =
                storedValue(appDatabase_->client(), "Users/" + me + "/profilePic").toString();
            return !now.isEmpty() && now != before;
        },
        10000));
    EXPECT_TRUE(warnings_.isEmpty()) << warnings_.join('\n').toStdString();
}

} // namespace

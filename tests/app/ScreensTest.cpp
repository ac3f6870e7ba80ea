// The rules of the start-up, the sign-in screens and the tab screen, on their controllers,
// without views, against a backend and a database that record what they are sent.
#include "TestSupport.h"

#include "AppDelegate.h"
#include "Common/Extensions/Localizable.h"
#include "Constants.h"
#include "LoginDefaults.h"
#include "Module/Chat/ChatVc/ChatViewController.h"
#include "Module/Login/LoginViewController.h"
#include "Module/Main/MainViewController.h"
#include "Module/Register/ProfileRegister/RegisterProfileViewController.h"
#include "Module/Register/RegisterViewController.h"
#include "Module/Tabs/TabsController.h"
#include "NavigationHelper.h"
#include "Platform/ApplicationState.h"
#include "Platform/OneSignal.h"
#include "Platform/ServiceKitLog.h"
#include "Platform/UI/Alert.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/Window.h"
#include "Platform/UserDefaults.h"
#include "Storyboards.h"

#include "Platform/PushNotification.h"

#include <QDesktopServices>
#include <QSignalSpy>

namespace {

// The app's delegate over `Backend`'s services, in German, not opened from a push.
template <typename Backend>
class WithDelegate : public Backend
{
protected:
    using Backend::Backend;

    void SetUp() override
    {
        Backend::SetUp();
        oneSignal_ = std::make_unique<OneSignal>(UserDefaults::standard(), center_);
        delegate_ =
            std::make_unique<AppDelegate>(this->appDatabase_->client(), center_, *oneSignal_);
        UserDefaults::standard().setString(QStringLiteral("de"),
                                           Constants::userDefaults::languagecode);
        isFromNotification = false;
    }
    void TearDown() override
    {
        delegate_.reset();
        oneSignal_.reset();
        isFromNotification = false;
        Backend::TearDown();
    }

    ViewController *root() const { return delegate_->window()->rootViewController(); }
    // The screen on top of the root's stack, or the root itself.
    ViewController *topScreen() const
    {
        auto *stack = qobject_cast<NavigationController *>(root());
        return stack ? stack->topViewController() : root();
    }
    MainViewController *landing()
    {
        delegate_->loginScreen();
        return qobject_cast<MainViewController *>(topScreen());
    }

    ScopedStoryboards storyboards_{appStoryboards()};
    NotificationCenter center_;
    std::unique_ptr<OneSignal> oneSignal_;
    std::unique_ptr<AppDelegate> delegate_;
};

class Screens : public WithDelegate<RecordingBackend>
{
protected:
    void SetUp() override
    {
        push_ = std::make_unique<ScopedEnvironment>("TAILWISE_PUSH", pushServer_.url());
        location_ = std::make_unique<ScopedEnvironment>("TAILWISE_LOCATION", "52.5200,13.4050");
        WithDelegate::SetUp();
    }
    template <typename Screen>
    Screen *pushed(VCIdentifier identifier)
    {
        delegate_->loginScreen();
        auto *stack = qobject_cast<NavigationController *>(root());
        stack->pushViewController(
            NavigationHelper::shared().viewController(identifier, StoryboardName::main), false);
        return qobject_cast<Screen *>(stack->topViewController());
    }
    // Waits for the alert a screen shows after an answer and returns its message.
    QString alertMessage(ViewController *screen)
    {
        if (!waitUntil([screen] { return screen->presentedAlert() != nullptr; }))
            return QStringLiteral("<no alert>");
        return screen->presentedAlert()->message();
    }

    RecordingServer pushServer_;
    std::unique_ptr<ScopedEnvironment> push_;
    std::unique_ptr<ScopedEnvironment> location_;
};

TEST_F(Screens, TheStoredRegistrationStatusAloneChoosesTheFirstScreen)
{
    const struct
    {
        std::optional<QVariant> status;
        const char *screen;
    } cases[] = {
        {std::nullopt, "MainViewController"},
        {QVariant(QStringLiteral("Success")), "TabsController"},
        {QVariant(QStringLiteral("In_Progress")), "RegisterProfileViewController"},
        {QVariant(QStringLiteral("success")), "MainViewController"},
        {QVariant(qlonglong(1)), "MainViewController"},
    };
    for (const auto &step : cases) {
        if (step.status && step.status->typeId() == QMetaType::QString)
            UserDefaults::standard().setString(step.status->toString(), RegisterStatus::key);
        else if (step.status)
            UserDefaults::standard().setInteger(step.status->toLongLong(), RegisterStatus::key);
        else
            UserDefaults::standard().removeObject(RegisterStatus::key);
        delegate_->showRootController();
        ASSERT_NE(topScreen(), nullptr);
        EXPECT_STREQ(topScreen()->metaObject()->className(), step.screen)
            << (step.status ? step.status->toString().toStdString() : "none");
    }
    EXPECT_EQ(server_.requests().size(), 0) << "no network call decides the first screen";
}

TEST_F(Screens, LaunchWiresTheKitsInOrderAndStartsInGermanOnceOnly)
{
    UserDefaults::standard().removeObject(Constants::userDefaults::languagecode);
    ServiceKitLog::shared().clear();
    EXPECT_TRUE(delegate_->application({}));
    EXPECT_EQ(UserDefaults::standard().string(Constants::userDefaults::languagecode), "de");
    QStringList kits;
    for (const QString &entry : ServiceKitLog::shared().entries())
        if (kits.isEmpty() || kits.last() != entry.section(u':', 0, 0))
            kits << entry.section(u':', 0, 0);
    EXPECT_EQ(kits, (QStringList{"AdMob", "IQKeyboardManager", "Firebase", "Facebook",
                                 "Google Places", "Google sign-in", "OneSignal", "Fabric"}));
    EXPECT_STREQ(topScreen()->metaObject()->className(), "MainViewController");
    // The landing screen appears after the launch has stored the language, so its switch
    // (on: German) shows the language in force.
    ASSERT_TRUE(waitUntil([&] { return topScreen()->isVisible(); }));
    EXPECT_TRUE(qobject_cast<MainViewController *>(topScreen())->languageSwitchOn());

    UserDefaults::standard().setString(QStringLiteral("en"), Constants::userDefaults::languagecode);
    delegate_->application({});
    EXPECT_EQ(UserDefaults::standard().string(Constants::userDefaults::languagecode), "en");
}

TEST_F(Screens, PresenceFollowsTheAppOnlyForASignedInUser)
{
    ApplicationState::shared().setReportedState(Qt::ApplicationActive);
    ApplicationState::shared().setReportedState(Qt::ApplicationInactive);
    QTest::qWait(100);
    EXPECT_EQ(server_.requests().size(), 0);
    EXPECT_EQ(databaseServer_.requests().size(), 0);

    LoginDefaults().setUserId(QStringLiteral("7"));
    ApplicationState::shared().setReportedState(Qt::ApplicationActive);
    ASSERT_TRUE(server_.waitForRequests(1));
    EXPECT_EQ(sentParameters().value("status"), "Online");
    ASSERT_TRUE(databaseServer_.waitForRequests(1));
    EXPECT_EQ(databaseServer_.requests().last().target, "/Users/7/status.json");

    delegate_->applicationWillTerminate();
    ASSERT_TRUE(databaseServer_.waitForRequests(3));
    EXPECT_EQ(databaseServer_.requests()[1].target, "/Users/7/status.json");
    EXPECT_EQ(databaseServer_.requests()[1].body, "\"Offline\"");
    EXPECT_EQ(databaseServer_.requests()[2].target, "/Users/7.json");
    EXPECT_EQ(databaseServer_.requests()[2].body, R"({".sv":"time_stamp"})");
    ASSERT_TRUE(server_.waitForRequests(2));
    ApplicationState::shared().setReportedState(std::nullopt);
}

TEST_F(Screens, TheSignInLockNeedsTheThirdFailureAndTheBackendsWording)
{
    auto *login = pushed<LoginViewController>(VCIdentifier::LoginVC);
    login->setEmail(QStringLiteral("anna@example.com"));
    login->password()->textFieldDidChange(QStringLiteral("wrong"));
    const auto fail = [&](const QByteArray &message) {
        const qsizetype sent = server_.requests().size();
        answer(R"({"status": "0", "message": ")" + message + "\"}", 403);
        login->loginwithEmail();
        EXPECT_TRUE(waitUntil([&] {
            return server_.requests().size() > sent && login->presentedAlert() != nullptr;
        }));
        if (Alert *alert = login->presentedAlert())
            alert->trigger(0);
        QTest::qWait(10);
    };

    fail("Wrong password");
    fail("Wrong password");
    fail("Email does not exist.");
    EXPECT_EQ(login->loginTime(), 0) << "an unknown address starts the count again";
    fail("Wrong password");
    fail("Wrong password");
    fail("Wrong password");
    EXPECT_FALSE(login->isLocked()) << "three failures without the wording lock nothing";
    fail("Wrong password, try 3 times");
    EXPECT_FALSE(login->isLocked()) << "the fourth failure is past the count of three";

    login->fireTimer();
    fail("Email does not exist.");
    fail("Wrong password");
    fail("Wrong password");
    fail("Please wait, try 3 times, then 60 seconds");
    EXPECT_TRUE(login->isLocked());
    EXPECT_FALSE(login->isUserInteractionEnabled());
    EXPECT_GT(login->lockSecondsRemaining(), 55);
    EXPECT_FALSE(login->lockText().isEmpty());
    login->fireTimer();
    EXPECT_TRUE(login->isUserInteractionEnabled());
    EXPECT_EQ(login->lockSecondsRemaining(), 0);
}

TEST_F(Screens, ASignInOpensTheTabsOrTheProfileStillToWrite)
{
    const struct
    {
        const char *isNew;
        QByteArray screen;
        QString status;
    } cases[] = {
        {"1", "RegisterProfileViewController", RegisterStatus::inProgress},
        {"0", "TabsController", RegisterStatus::success},
    };
    for (const auto &c : cases) {
        auto *login = pushed<LoginViewController>(VCIdentifier::LoginVC);
        login->setEmail(QStringLiteral("anna@example.com"));
        login->password()->textFieldDidChange(QStringLiteral("secret"));
        answer(QByteArray(R"({"status": "1", "message": "ok", "is_new_account": )") + c.isNew +
               R"(, "user_data": [{"user_id": "7", "userToken": "t"}]})");
        login->loginwithEmail();
        ASSERT_TRUE(waitUntil([&] { return topScreen()->metaObject()->className() == c.screen; }))
            << c.screen.constData();
        EXPECT_EQ(UserDefaults::standard().string(RegisterStatus::key), c.status);
    }
}

TEST_F(Screens, ScreensThatCloseBeforeTheirAnswerAreNotReached)
{
    Window *window = delegate_->window();
    window->makeKeyAndVisible();
    auto *login = pushed<LoginViewController>(VCIdentifier::LoginVC);
    login->setEmail(QStringLiteral("anna@example.com"));
    login->password()->textFieldDidChange(QStringLiteral("secret"));
    answer(R"({"status": "0", "message": "Wrong password"})");
    login->loginwithEmail();
    EXPECT_TRUE(window->isHUDVisible());
    QPointer<LoginViewController> gone = login;
    qobject_cast<NavigationController *>(root())->popViewController(false);
    ASSERT_TRUE(waitUntil([&] { return gone.isNull(); }));
    EXPECT_FALSE(window->isHUDVisible()) << "the indicator goes with its screen";
    ASSERT_TRUE(server_.waitForRequests(1));
    QTest::qWait(100);
    EXPECT_EQ(window->alert(), nullptr);
}

TEST_F(Screens, NoIndicatorOutlivesARequestThatIsNeverAnswered)
{
    // Loading the users for an opened push does not answer a failed request at all.
    const ScopedEnvironment timeout("TAILWISE_REQUEST_TIMEOUT_MS", "200");
    CannedReply silent;
    silent.silent = true;
    server_.setReply(silent);
    LoginDefaults().setUserId(QStringLiteral("7"));
    delegate_->homeScreen();
    const QVariantMap userInfo = {{"aps", QVariantMap{{"alert", "Hallo"}}},
                                  {"custom", QVariantMap{{"a", QVariantMap{{"postID", "9"}}}}}};
    delegate_->userNotificationCenter(
        center_, NotificationResponse{*PushNotification::fromUserInfo(userInfo)}, {});
    EXPECT_TRUE(delegate_->window()->isHUDVisible());
    EXPECT_TRUE(waitUntil([&] { return !delegate_->window()->isHUDVisible(); }, 3000));
}

TEST_F(Screens, RegistrationSendsTheDevicesPositionAndOpensTheProfile)
{
    delegate_->locationCoordinates = {52.52, 13.405};
    delegate_->stringAddress = QStringLiteral("10117 Berlin, Germany");
    auto *registration = pushed<RegisterViewController>(VCIdentifier::Register);
    registration->setEmail(QStringLiteral("bruno@example.com"));
    registration->password()->textFieldDidChange(QStringLiteral("wuff-wuff"));
    registration->confirmPassword()->textFieldDidChange(QStringLiteral("wuff-wuf"));
    registration->registerAction();
    ASSERT_NE(registration->presentedAlert(), nullptr) << "mismatched passwords";
    EXPECT_EQ(server_.requests().size(), 0);
    registration->presentedAlert()->trigger(0);

    registration->confirmPassword()->textFieldDidChange(QStringLiteral("wuff-wuff"));
    answer(R"({"status": "1", "message": "Registered", "is_new_account": 1,
               "user_data": [{"user_id": "8", "userToken": "t"}]})");
    registration->registerAction();
    EXPECT_EQ(alertMessage(registration), "Registered");
    const QVariantMap sent = sentParameters();
    EXPECT_EQ(sent.value("register_type"), "manual");
    EXPECT_EQ(sent.value("verify_status"), "0");
    EXPECT_EQ(sent.value("dog_address"), "10117 Berlin, Germany");
    EXPECT_EQ(sent.value("latitude"), "52.520000");
    EXPECT_EQ(sent.value("longitude"), "13.405000");
    EXPECT_EQ(UserDefaults::standard().string(RegisterStatus::key), RegisterStatus::inProgress);
    registration->presentedAlert()->trigger(0);
    EXPECT_STREQ(topScreen()->metaObject()->className(), "RegisterProfileViewController");
}

TEST_F(Screens, TheLanguageSwitchMeansGermanWhenOn)
{
    MainViewController *screen = landing();
    ASSERT_NE(screen, nullptr);
    QSignalSpy retranslated(screen, &ViewController::retranslate);
    QSignalSpy announced(&LanguageChange::shared(), &LanguageChange::languageChanged);
    screen->didTapLanguageChange(false);
    EXPECT_EQ(UserDefaults::standard().string(Constants::userDefaults::languagecode), "en");
    EXPECT_FALSE(screen->languageSwitchOn());
    EXPECT_EQ(retranslated.size(), 1);
    screen->didTapLanguageChange(false);
    EXPECT_EQ(announced.size(), 1) << "storing the language already shown announces nothing";
    screen->didTapLanguageChange(true);
    EXPECT_EQ(UserDefaults::standard().string(Constants::userDefaults::languagecode), "de");
    EXPECT_TRUE(screen->languageSwitchOn());
}

TEST_F(Screens, TheSearchButtonOpensTheChatsAfterAPush)
{
    delegate_->homeScreen();
    auto *tabs = qobject_cast<TabsController *>(root());
    ASSERT_NE(tabs, nullptr);
    const struct
    {
        void (TabsController::*action)(int);
        int tag;
        const char *section;
    } buttons[] = {
        {&TabsController::openSearchVC, 0, "NavFindDog"},
        {&TabsController::openFavouriteVC, 1, "navFavVC"},
        {&TabsController::openChatVC, 2, "navChat"},
        {&TabsController::openInfo, 3, "navInfo"},
        {&TabsController::openProfile, 4, "navProfile"},
        {&TabsController::openSettings, 5, "navSetting"},
    };
    for (const bool fromNotification : {false, true}) {
        isFromNotification = fromNotification;
        for (const auto &button : buttons) {
            (tabs->*button.action)(button.tag);
            const QString expected =
                fromNotification && button.tag == 0 ? "navChat" : button.section;
            EXPECT_EQ(tabs->section()->identifier(), expected);
            EXPECT_EQ(tabs->selectedIndex(), button.tag);
        }
    }
}

using LiveScreens = WithDelegate<LiveBackend>;

TEST_F(LiveScreens, AnOpenedPushOpensTheChatWithItsSender)
{
    const QString ben = signUp("Ben", "male", 52.39, 13.06);
    signUp("Anna", "female", 52.52, 13.405); // Anna's phone is signed in
    delegate_->homeScreen();
    const QVariantMap userInfo = {
        {"aps", QVariantMap{{"alert", QVariantMap{{"title", "Ben"}, {"body", "Hallo!"}}}}},
        {"custom", QVariantMap{{"i", "n-1"}, {"a", QVariantMap{{"postID", ben}}}}}};
    bool completed = false;
    delegate_->userNotificationCenter(
        center_, NotificationResponse{*PushNotification::fromUserInfo(userInfo)},
        [&] { completed = true; });
    EXPECT_TRUE(completed);
    EXPECT_EQ(delegate_->recevierId, ben);
    ASSERT_TRUE(
        waitUntil([&] { return topScreen() && topScreen()->identifier() == "ChatVC"; }, 8000));
    EXPECT_EQ(root()->identifier(), "NavAppChat");
    auto *chat = qobject_cast<ChatViewController *>(topScreen());
    ASSERT_NE(chat, nullptr);
    EXPECT_EQ(chat->partnerId(), ben);
    EXPECT_TRUE(isFromNotification);

    // Closing it leaves for the tabs as a sign-in shows them, with the search first again.
    chat->close();
    ASSERT_TRUE(waitUntil([&] { return qobject_cast<TabsController *>(root()) != nullptr; }));
    EXPECT_FALSE(isFromNotification);
}

// Catches what the app hands the system browser.
class BrowserStandIn : public QObject
{
    Q_OBJECT

public:
    BrowserStandIn() { QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "open"); }
    ~BrowserStandIn() override { QDesktopServices::unsetUrlHandler(QStringLiteral("http")); }
    QList<QUrl> opened;

public Q_SLOTS:
    void open(const QUrl &url) { opened << url; }
};

TEST_F(LiveScreens, TheLegalPagesOpenInTheBrowserFromTheStack)
{
    ScopedEnvironment web("TAILWISE_WEB", server_.backendUrl());
    BrowserStandIn browser;
    landing()->termsAction();
    landing()->privacyAction();
    ASSERT_EQ(browser.opened.size(), 2);
    for (const QUrl &page : browser.opened)
        EXPECT_TRUE(download(page).contains("Tailwise")) << page.toString().toStdString();
}

class GoogleSignIn : public LiveScreens
{
protected:
    GoogleSignIn() : LiveScreens(identityProviderArguments()) {}
    void TearDown() override
    {
        GIDSignIn::sharedInstance().setDialog({});
        GIDSignIn::sharedInstance().setDelegate(nullptr);
        LiveScreens::TearDown();
    }
};

TEST_F(GoogleSignIn, TheKitsAccountSignsInAndFinishesOnTheProfileOrTheTabs)
{
    MainViewController *screen = landing();
    ASSERT_NE(screen, nullptr);

    // This build has no kit of its own: the button says so.
    screen->loginWithGoogle();
    ASSERT_NE(screen->presentedAlert(), nullptr);
    screen->presentedAlert()->trigger(0);

    GIDSignIn::sharedInstance().setDelegate(delegate_.get());
    GIDSignIn::sharedInstance().setDialog([](auto done) {
        done(GIDGoogleUser{"greta@example.com", "Greta", googleIdToken("greta@example.com"),
                           "https://lh3.example.com/greta.jpg"},
             std::nullopt);
    });
    screen->loginWithGoogle();
    ASSERT_TRUE(waitUntil(
        [&] { return qobject_cast<RegisterProfileViewController *>(topScreen()) != nullptr; },
        8000))
        << "a new account goes on to its profile";
    const QString userId = LoginDefaults().userId().value_or(QString());
    ASSERT_FALSE(userId.isEmpty());
    EXPECT_EQ(UserDefaults::standard().string(RegisterStatus::key), RegisterStatus::inProgress);
    EXPECT_TRUE(waitUntil([&] {
        return storedValue(appDatabase_->client(), "Notifications/" + userId + "/noti_status") ==
               "online";
    })) << "the default notification record";

    // The same account again is an existing one: straight to the tabs.
    LoginDefaults().logOut();
    delegate_->loginScreen();
    GIDSignIn::sharedInstance().signIn();
    ASSERT_TRUE(waitUntil([&] { return qobject_cast<TabsController *>(root()) != nullptr; }, 8000));
    EXPECT_EQ(UserDefaults::standard().string(RegisterStatus::key), RegisterStatus::success);
}

TEST(Storyboards, MakeEveryScreenByItsIdentifier)
{
    ScopedStoryboards storyboards(appStoryboards());
    for (int i = 0; i <= static_cast<int>(VCIdentifier::AdmobBannerVC); ++i) {
        const auto identifier = static_cast<VCIdentifier>(i);
        const StoryboardName board = Storyboard::Catalogue(appStoryboards())
                                             .value(rawValue(StoryboardName::main))
                                             .scenes.contains(rawValue(identifier))
                                         ? StoryboardName::main
                                         : StoryboardName::tabBar;
        std::unique_ptr<ViewController> screen(
            NavigationHelper::shared().viewController(identifier, board));
        ASSERT_NE(screen, nullptr) << rawValue(identifier).toStdString();
        EXPECT_EQ(screen->identifier(), rawValue(identifier));
        EXPECT_TRUE(screen->viewUrl().isValid());
    }
    EXPECT_DEATH(
        Storyboard(QStringLiteral("Main")).instantiateViewController(QStringLiteral("Nope")),
        "Nope");
}

} // namespace

#include "ScreensTest.moc"

// Every screen's view loads in the app's window without a warning and draws something; a PNG
// of each lands in the build tree.
#include "QmlModules.h"
#include "TestSupport.h"

#include "AppDelegate.h"
#include "NavigationHelper.h"
#include "Platform/OneSignal.h"
#include "Platform/UI/AppWindowEngine.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/Window.h"
#include "Platform/UserDefaults.h"
#include "Storyboards.h"

#include <QDir>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>

namespace {

class QmlViews : public RecordingBackend
{};

TEST_F(QmlViews, EveryScreenLoadsAndRenders)
{
    QQuickStyle::setStyle(QStringLiteral("Material"));
    ScopedStoryboards storyboards(appStoryboards());
    ScopedEnvironment push("TAILWISE_PUSH", server_.url());
    NotificationCenter center;
    OneSignal oneSignal(UserDefaults::standard(), center);
    AppDelegate delegate(appDatabase_->client(), center, oneSignal);
    UserDefaults::standard().setString(QStringLiteral("de"), QStringLiteral("languageCode"));
    delegate.loginScreen();

    QQmlApplicationEngine engine;
    QStringList warnings;
    QObject::connect(&engine, &QQmlEngine::warnings, &engine,
                     [&warnings](const QList<QQmlError> &errors) {
                         for (const QQmlError &error : errors)
                             warnings << error.toString();
                     });
    QQuickWindow *window = loadAppWindow(engine, *delegate.window(), center.banner());
    ASSERT_NE(window, nullptr) << warnings.join('\n').toStdString();
    QDir().mkpath(QStringLiteral(TAILWISE_SCREENSHOT_DIR "/views"));

    const Storyboard::Catalogue catalogue = appStoryboards();
    for (auto board = catalogue.begin(); board != catalogue.end(); ++board) {
        for (const QString &identifier : board->scenes.keys()) {
            ViewController *screen = Storyboard(board.key()).instantiateViewController(identifier);
            // A stack that is filled by whoever opens it has nothing to show on its own.
            if (auto *stack = qobject_cast<NavigationController *>(screen);
                stack && !stack->depth()) {
                delete screen;
                continue;
            }
            delegate.window()->setRootViewController(screen);
            QTest::qWait(50);
            const QImage image = window->grabWindow();
            ASSERT_FALSE(image.isNull());
            EXPECT_EQ(image.size(), QSize(390, 844));
            // A rendered screen has more than one colour; a blank one means nothing was drawn.
            const QRgb background = image.pixel(0, 0);
            bool drewSomething = false;
            for (int y = 0; y < image.height() && !drewSomething; y += 4)
                for (int x = 0; x < image.width() && !drewSomething; x += 4)
                    drewSomething = image.pixel(x, y) != background;
            EXPECT_TRUE(drewSomething) << identifier.toStdString();
            EXPECT_TRUE(image.save(QStringLiteral(TAILWISE_SCREENSHOT_DIR "/views/") + board.key() +
                                   '_' + identifier + ".png"));
        }
    }
    EXPECT_TRUE(warnings.isEmpty()) << warnings.join('\n').toStdString();
}

} // namespace

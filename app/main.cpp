#include "AppDelegate.h"
#include "QmlModules.h"
#include "Storyboards.h"

#include "Platform/Database.h"
#include "Platform/NotificationCenter.h"
#include "Platform/OneSignal.h"
#include "Platform/UI/AppWindowEngine.h"
#include "Platform/UI/Window.h"
#include "Platform/UserDefaults.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QThread>

namespace {
// What the app wrote on its way out (presence, queued database writes) gets this long to
// reach the services; what does not stays queued for the next start.
constexpr int farewellMilliseconds = 3000;

void letWritesLeave()
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < farewellMilliseconds &&
           (Database::database().pendingWriteCount() > 0 || AppDelegate::requestsInFlight() > 0)) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        QThread::msleep(5);
    }
}
} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Tailwise"));
    QGuiApplication::setOrganizationName(QStringLiteral("Tailwise"));
    QQuickStyle::setStyle(QStringLiteral("Material"));

    Storyboard::install(appStoryboards());
    AppDelegate delegate(Database::database(), NotificationCenter::current(), OneSignal::shared());
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &delegate,
                     &AppDelegate::applicationWillTerminate);
    delegate.application({});

    // The window shows what the delegate installed; it is created once launch has chosen the
    // first screen and stored the language.
    QQmlApplicationEngine engine;
    if (!loadAppWindow(engine, *delegate.window(), NotificationCenter::current().banner()))
        return 1;
    const int status = QGuiApplication::exec();
    letWritesLeave();
    return status;
}

#include "AppDelegate.h"
#include "QmlModules.h"
#include "Storyboards.h"

#include "Platform/Database.h"
#include "Platform/NotificationCenter.h"
#include "Platform/OneSignal.h"
#include "Platform/UI/AppWindowEngine.h"
#include "Platform/UI/Automation.h"
#include "Platform/UI/Window.h"
#include "Platform/UserDefaults.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QSocketNotifier>
#include <QThread>

#include <csignal>

#include <unistd.h>

namespace {
// What the app wrote on its way out (presence, queued database writes) gets this long to
// reach the services; what does not stays queued for the next start.
constexpr int farewellMilliseconds = 3000;

// SIGINT and SIGTERM (Ctrl-C in `./tailwise run`, a session ending) quit the app the way
// closing its window does, so that presence goes "Offline" on the way out. The handler only
// writes a byte to a pipe; the event loop reads it.
int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

void quitOnSignals(QCoreApplication &app)
{
    if (::pipe(signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [notifier] {
        notifier->setEnabled(false);
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

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
    quitOnSignals(app);

    Storyboard::install(appStoryboards());
    AppDelegate delegate(Database::database(), NotificationCenter::current(), OneSignal::shared());
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &delegate,
                     &AppDelegate::applicationWillTerminate);
    delegate.application({});

    // The window shows what the delegate installed; it is created once launch has chosen the
    // first screen and stored the language.
    QQmlApplicationEngine engine;
    QQuickWindow *window =
        loadAppWindow(engine, *delegate.window(), NotificationCenter::current().banner());
    if (!window)
        return 1;
    // Off unless TAILWISE_AUTOMATION_PORT is set: a local test driver works the window.
    const std::unique_ptr<Automation> automation = Automation::fromEnvironment(window);
    const int status = QGuiApplication::exec();
    letWritesLeave();
    return status;
}

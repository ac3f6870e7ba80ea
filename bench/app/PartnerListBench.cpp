// The partner search screen with 1,000 dog owners on a real stack: how long from opening the
// search tab to the first rows on screen (the first time, with no picture cached, and again),
// and what the app holds in memory once the list has been scrolled to its end.
//
//   tailwise-partner-list-bench SERVER_BINARY SEED_BINARY [PEOPLE] [ROUNDS]
#include "QmlModules.h"

#include "AppBench.h"

#include "AppDelegate.h"
#include "Common/Extensions/Localizable.h"
#include "LoginDefaults.h"
#include "Module/FindDog/FindDogViewController.h"
#include "Module/Login/LoginDataManager.h"
#include "NavigationHelper.h"
#include "Platform/OneSignal.h"
#include "Platform/UI/AppWindowEngine.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/PictureProvider.h"
#include "Platform/UI/Storyboard.h"
#include "Platform/UI/Window.h"
#include "Platform/UserDefaults.h"
#include "Storyboards.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <functional>

namespace {

// Resident memory of this process, in MiB.
double residentMiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    return -1;
}

QQuickItem *findItem(QQuickItem *item, const QString &name)
{
    if (item->objectName() == name)
        return item;
    for (QQuickItem *child : item->childItems())
        if (QQuickItem *found = findItem(child, name))
            return found;
    return nullptr;
}

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "tailwise-partner-list-bench: %s\n", what);
    std::exit(1);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 3) {
        std::fprintf(stderr,
                     "usage: tailwise-partner-list-bench SERVER SEED [PEOPLE 2-1000] [ROUNDS]\n");
        return 2;
    }
    qputenv("QT_QPA_PLATFORM",
            qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QTemporaryDir home;
    qputenv("TAILWISE_HOME", home.path().toUtf8());
    qputenv("TAILWISE_LOCATION", "52.5200,13.4050");
    QGuiApplication app(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Material"));
    const QString serverBinary = QString::fromLocal8Bit(argv[1]);
    const QString seedBinary = QString::fromLocal8Bit(argv[2]);
    // The demo account and the others: the seeder makes at most 1,000 people.
    const int people = std::clamp(argc > 3 ? std::atoi(argv[3]) : 1000, 2, 1000);
    const int partners = people - 1;
    const int rounds = argc > 4 ? std::atoi(argv[4]) : 5;

    Stack stack;
    if (!startStack(stack, serverBinary, home.filePath(QStringLiteral("data"))))
        fail("the server did not start");
    qputenv("TAILWISE_BACKEND", stack.backend);
    qputenv("TAILWISE_DATABASE", stack.database);

    QElapsedTimer seeding;
    seeding.start();
    QProcess seed;
    seed.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    seed.start(seedBinary, {"--backend", stack.backend, "--database", stack.database, "--count",
                            QString::number(people), "--near", "52.5200,13.4050"});
    waitUntil([&] { return seed.state() == QProcess::NotRunning; }, 30 * 60 * 1000);
    if (seed.exitStatus() != QProcess::NormalExit || seed.exitCode() != 0)
        fail("seeding failed");
    std::printf("seeded %d dog owners in %.0f s\n", people, seeding.elapsed() / 1000.0);

    UserDefaults::standard().setString(QStringLiteral("en"), QStringLiteral("languageCode"));
    bool signedIn = false;
    LoginDataManager().login(QStringLiteral("demo@demo.tailwise.example"),
                             QStringLiteral("tailwise-demo"),
                             [&](bool success, const std::optional<QString> &, std::optional<int>) {
                                 signedIn = success;
                             });
    if (!waitUntil([&] { return signedIn; }, 10000))
        fail("the demo account did not sign in");

    ScopedStoryboards storyboards(appStoryboards());
    NotificationCenter center;
    OneSignal oneSignal(UserDefaults::standard(), center);
    AppDelegate delegate(Database::database(), center, oneSignal);
    QQmlApplicationEngine engine;
    QQuickWindow *window = loadAppWindow(engine, *delegate.window(), center.banner());
    if (!window)
        fail("the window did not load");
    window->show();
    delegate.window()->makeKeyAndVisible();
    const double before = residentMiB();

    std::vector<double> warm;
    double cold = 0;
    double firstPageMiB = 0;
    double scrolledMiB = 0;
    int loadedRows = 0;
    for (int round = 0; round < rounds; ++round) {
        ViewController *section = NavigationHelper::shared().viewController(
            VCIdentifier::NavFindDog, StoryboardName::tabBar);
        auto *stackScreen = qobject_cast<NavigationController *>(section);
        auto *search = qobject_cast<FindDogViewController *>(stackScreen->topViewController());
        int frames = 0;
        const auto counter =
            QObject::connect(window, &QQuickWindow::frameSwapped, [&] { ++frames; });
        QElapsedTimer opening;
        opening.start();
        delegate.window()->setRootViewController(section);
        // The first rows are on screen with the first frame drawn after they came.
        if (!waitUntil([&] { return search->partners()->count() > 0; }, 20000))
            fail("no rows came");
        const int framesWithRows = frames;
        waitUntil([&] { return frames > framesWithRows; }, 2000);
        const double ms = opening.nsecsElapsed() / 1e6;
        QObject::disconnect(counter);
        if (round == 0) {
            cold = ms;
            firstPageMiB = residentMiB();
            // To the end of the list, page by page as a person scrolling would load it.
            QQuickItem *list = findItem(window->contentItem(), QStringLiteral("partnerList"));
            if (!list)
                fail("no list on screen");
            waitUntil(
                [&] {
                    list->setProperty("contentY",
                                      list->property("contentHeight").toReal() - list->height());
                    return !search->loadingMore() && search->partners()->count() >= partners;
                },
                120000);
            waitUntil([] { return false; }, 1500); // pictures of the last rows
            loadedRows = search->partners()->count();
            scrolledMiB = residentMiB();
        } else {
            warm.push_back(ms);
        }
        delegate.window()->setRootViewController(nullptr);
        waitUntil([] { return false; }, 300);
    }

    std::printf("| | value |\n|---|---:|\n");
    std::printf("| first rows drawn, first opening (no picture cached) | %.0f ms |\n", cold);
    std::printf("| first rows drawn, later openings (median of %d) | %.0f ms |\n", rounds - 1,
                median(warm));
    std::printf("| resident memory, window open before the search | %.0f MiB |\n", before);
    std::printf("| resident memory, first page on screen | %.0f MiB |\n", firstPageMiB);
    std::printf("| resident memory, scrolled to the end (%d rows) | %.0f MiB |\n", loadedRows,
                scrolledMiB);
    return 0;
}

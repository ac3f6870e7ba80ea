#include "Platform/ApplicationState.h"
#include "Platform/UserDefaults.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// Run as a child by the crash test: rewrites the store with ever new large values until it
// is killed.
[[noreturn]] static void keepWritingStore(const QString &path)
{
    UserDefaults store(path);
    for (qlonglong round = 1;; ++round) {
        store.setString(QString(200'000, QChar(static_cast<char16_t>(u'a' + round % 26))),
                        QStringLiteral("payload"));
        store.setInteger(round, QStringLiteral("round"));
    }
}

// Run as a child by the store tests: a change the event loop never gets to write, made by a
// store that is never destroyed (like the app's own), before the application object goes away.
static int changeStoreAndEnd(const QString &path, int argc, char **argv)
{
    auto *store = new UserDefaults(path);
    const QCoreApplication app(argc, argv);
    store->setString(QStringLiteral("kept"), QStringLiteral("lastChange"));
    return 0;
}

// The app's code needs a running Qt application object (event loop, fonts, QML engine), so
// every app test runs inside one.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");
    if (const QString path = qEnvironmentVariable("TAILWISE_TEST_STORE_WRITER"); !path.isEmpty())
        keepWritingStore(path);
    if (const QString path = qEnvironmentVariable("TAILWISE_TEST_STORE_AT_EXIT"); !path.isEmpty())
        return changeStoreAndEnd(path, argc, argv);
    // No test may touch the settings of an app installed on this machine.
    QTemporaryDir home;
    qputenv("TAILWISE_HOME", home.path().toUtf8());
    QGuiApplication app(argc, argv);
    // The app is in the background unless a test says otherwise (ActiveApplication).
    ApplicationState::shared().setReportedState(Qt::ApplicationInactive);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

#include "Deployment.h"
#include "NotificationAlert/OneSignalLaunch.h"
#include "Platform/OneSignal.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickStyle>
#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(TailwisePlugin)

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Tailwise"));
    QGuiApplication::setOrganizationName(QStringLiteral("Tailwise"));
    QQuickStyle::setStyle(QStringLiteral("Material"));

    QQmlApplicationEngine engine;
    engine.rootContext()->setContextProperty(QStringLiteral("backendUrl"),
                                             Deployment::backendUrl().toString());
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreated, &app,
        [](QObject *root, const QUrl &) {
            if (!root)
                QCoreApplication::exit(1);
        },
        Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/Tailwise/Module/Main/Main.qml")));
    // After the first screen, so that no push is handled before there is one.
    startOneSignal(OneSignal::shared());
    return QGuiApplication::exec();
}

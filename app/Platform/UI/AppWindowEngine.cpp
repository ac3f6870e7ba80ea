#include "Platform/UI/AppWindowEngine.h"

#include "Platform/NotificationBanner.h"
#include "Platform/UI/PictureCache.h"
#include "Platform/UI/Window.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>

QQuickWindow *loadAppWindow(QQmlApplicationEngine &engine, Window &window,
                            NotificationBanner &banner)
{
    // The modules' qmldir files are compiled in under qrc:/<URI as a path>.
    engine.addImportPath(QStringLiteral("qrc:/"));
    static PictureCache pictures; // outlives every engine
    engine.setNetworkAccessManagerFactory(&pictures);
    engine.setInitialProperties({{QStringLiteral("appWindow"), QVariant::fromValue(&window)},
                                 {QStringLiteral("banner"), QVariant::fromValue(&banner)}});
    engine.load(QUrl(QStringLiteral("qrc:/Tailwise/UI/AppWindow.qml")));
    const QList<QObject *> roots = engine.rootObjects();
    return roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow *>(roots.first());
}

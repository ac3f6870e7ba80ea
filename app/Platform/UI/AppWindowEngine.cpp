#include "Platform/UI/AppWindowEngine.h"

#include "Platform/NotificationBanner.h"
#include "Platform/UI/PictureProvider.h"
#include "Platform/UI/Window.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>

QQuickWindow *loadAppWindow(QQmlApplicationEngine &engine, Window &window,
                            NotificationBanner &banner)
{
    // The modules' qmldir files are compiled in under qrc:/<URI as a path>.
    engine.addImportPath(QStringLiteral("qrc:/"));
    engine.addImageProvider(QString::fromLatin1(PictureProvider::name), new PictureProvider);
    engine.setInitialProperties({{QStringLiteral("appWindow"), QVariant::fromValue(&window)},
                                 {QStringLiteral("banner"), QVariant::fromValue(&banner)}});
    engine.load(QUrl(QStringLiteral("qrc:/Tailwise/UI/AppWindow.qml")));
    const QList<QObject *> roots = engine.rootObjects();
    return roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow *>(roots.first());
}

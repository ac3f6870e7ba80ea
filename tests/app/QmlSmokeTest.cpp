#include <QDir>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QtQml/QQmlExtensionPlugin>

#include <gtest/gtest.h>

Q_IMPORT_QML_PLUGIN(TailwisePlugin)

namespace {

// Loads every view the app ships, renders it offscreen and keeps a PNG of each in the build
// tree, so a broken import or binding fails here and a layout can be looked at.
TEST(QmlViews, EveryViewLoadsAndRenders)
{
    QQuickStyle::setStyle(QStringLiteral("Material"));
    const QStringList views = {QStringLiteral("Module/Main/Main.qml")};
    QDir().mkpath(QStringLiteral(TAILWISE_SCREENSHOT_DIR));
    for (const QString &view : views) {
        QQmlApplicationEngine engine;
        QStringList warnings;
        QObject::connect(&engine, &QQmlEngine::warnings, &engine,
                         [&warnings](const QList<QQmlError> &errors) {
                             for (const QQmlError &error : errors)
                                 warnings << error.toString();
                         });
        engine.rootContext()->setContextProperty(QStringLiteral("backendUrl"),
                                                 QStringLiteral("http://127.0.0.1:8080"));
        engine.load(QUrl(QStringLiteral("qrc:/Tailwise/") + view));
        ASSERT_EQ(engine.rootObjects().size(), 1) << view.toStdString();
        auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().first());
        ASSERT_NE(window, nullptr) << view.toStdString();
        EXPECT_TRUE(warnings.isEmpty()) << warnings.join('\n').toStdString();

        const QImage image = window->grabWindow();
        ASSERT_FALSE(image.isNull());
        EXPECT_EQ(image.size(), QSize(390, 844));
        // A rendered screen has more than one colour; a blank one means nothing was drawn.
        const QRgb background = image.pixel(0, 0);
        bool drewSomething = false;
        for (int y = 0; y < image.height() && !drewSomething; y += 4)
            for (int x = 0; x < image.width() && !drewSomething; x += 4)
                drewSomething = image.pixel(x, y) != background;
        EXPECT_TRUE(drewSomething) << view.toStdString();
        const QString png = QStringLiteral(TAILWISE_SCREENSHOT_DIR "/") +
                            QString(view).replace('/', '_').replace(".qml", ".png");
        EXPECT_TRUE(image.save(png));
    }
}

} // namespace

#include "Platform/UI/ItemLookup.h"

#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include <algorithm>

QObject *findVisibleObject(QQuickItem *item, const QString &name)
{
    if (!item)
        return nullptr;
    if (item->objectName() == name && item->isVisible())
        return item;
    for (QObject *child : item->children())
        if (!qobject_cast<QQuickItem *>(child) && child->objectName() == name)
            return child;
    for (QQuickItem *child : item->childItems())
        if (QObject *found = child->isVisible() ? findVisibleObject(child, name) : nullptr)
            return found;
    return nullptr;
}

QObject *ItemDriver::object(const QString &name, int timeoutMs) const
{
    QObject *found = nullptr;
    const bool came = QTest::qWaitFor(
        [&] { return (found = findVisibleObject(window_->contentItem(), name)) != nullptr; },
        timeoutMs);
    return came ? found : nullptr;
}

QQuickItem *ItemDriver::item(const QString &name, int timeoutMs) const
{
    return qobject_cast<QQuickItem *>(object(name, timeoutMs));
}

// A popup that is still fading in or out holds its modal shade over the window.
static bool popupMoving(QQuickWindow *window)
{
    const QList<QObject *> objects = window->contentItem()->findChildren<QObject *>();
    return std::any_of(objects.begin(), objects.end(), [](const QObject *object) {
        return object->inherits("QQuickPopup") && object->property("visible").toBool() &&
               !object->property("opened").toBool();
    });
}

// A stack takes no touches while a page slides in or out, nor the window while a popup moves.
bool ItemDriver::settled(QQuickItem *target)
{
    if (QQuickWindow *window = target->window();
        window && !QTest::qWaitFor([window] { return !popupMoving(window); }, 5000))
        return false;
    for (QQuickItem *parent = target->parentItem(); parent; parent = parent->parentItem())
        if (parent->inherits("QQuickStackView") &&
            !QTest::qWaitFor([parent] { return !parent->property("busy").toBool(); }, 5000))
            return false;
    QTest::qWait(100);
    return true;
}

// Scrolls the nearest list or page around `target` until it is in the window.
void ItemDriver::scrollTo(QQuickItem *target)
{
    for (QQuickItem *parent = target->parentItem(); parent; parent = parent->parentItem()) {
        if (!parent->inherits("QQuickFlickable"))
            continue;
        QQuickItem *content = parent->property("contentItem").value<QQuickItem *>();
        const qreal top = target->mapToItem(content, QPointF(0, 0)).y();
        const qreal maxY =
            std::max<qreal>(0, parent->property("contentHeight").toReal() - parent->height());
        parent->setProperty("contentY", std::clamp<qreal>(top - parent->height() / 3, 0, maxY));
        return;
    }
}

bool ItemDriver::click(const QString &name) const
{
    QQuickItem *target = item(name);
    if (!target || !settled(target))
        return false;
    scrollTo(target);
    QTest::qWait(50);
    const QPointF centre = target->mapToScene(QPointF(target->width() / 2, target->height() / 2));
    QTest::mouseClick(window_, Qt::LeftButton, {}, centre.toPoint());
    return true;
}

bool ItemDriver::type(const QString &name, const QString &text) const
{
    QQuickItem *field = item(name);
    if (!field || !settled(field))
        return false;
    scrollTo(field);
    field->forceActiveFocus();
    // A key event per character, as a keyboard sends them (Latin-1 text only).
    for (const QChar character : text)
        QTest::keyClick(window_, character.toLatin1());
    return field->property("text").toString().endsWith(text);
}

bool ItemDriver::screenshot(const QString &path) const
{
    // Lets list delegates and pictures that are still loading reach the frame.
    QTest::qWait(400);
    const QImage image = window_->grabWindow();
    return !image.isNull() && image.save(path);
}

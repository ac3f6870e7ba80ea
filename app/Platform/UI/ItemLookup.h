#pragma once

#include <QString>

class QObject;
class QQuickItem;
class QQuickWindow;

// The first object named `name` below `item` that a person could see: visible items and the
// non-visual objects they hold (dialogs, models), depth first. Hidden branches are skipped, so
// a screen further down a stack never answers for the one on top.
QObject *findVisibleObject(QQuickItem *item, const QString &name);

// Drives one window the way a finger and a keyboard would, finding what it touches by
// objectName. Each call runs the event loop while it waits, for at most `timeoutMs`, so it
// belongs on the main thread and never in a slot that must not be re-entered.
class ItemDriver
{
public:
    explicit ItemDriver(QQuickWindow *window) : window_(window) {}

    QQuickWindow *window() const { return window_; }

    // Waits until a visible object of that name exists; nullptr when none came in time.
    QObject *object(const QString &name, int timeoutMs = 5000) const;
    QQuickItem *item(const QString &name, int timeoutMs = 5000) const;

    // A tap on the middle of the item, once its screen has stopped sliding and it has been
    // scrolled into the window; false when there was nothing to tap.
    bool click(const QString &name) const;
    // Focuses the field and types `text` key by key; true when the field ends with it.
    bool type(const QString &name, const QString &text) const;
    // The window as drawn now, saved as a picture at `path` (the format follows the suffix).
    bool screenshot(const QString &path) const;

private:
    static bool settled(QQuickItem *target);
    static void scrollTo(QQuickItem *target);

    QQuickWindow *window_;
};

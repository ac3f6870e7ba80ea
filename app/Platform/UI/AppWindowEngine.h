#pragma once

class NotificationBanner;
class QQmlApplicationEngine;
class QQuickWindow;
class Window;

// Loads the app's one QML window into `engine`, showing what `window` holds and `banner`
// above it; nullptr when the window could not be made.
QQuickWindow *loadAppWindow(QQmlApplicationEngine &engine, Window &window,
                            NotificationBanner &banner);

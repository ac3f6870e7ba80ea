#pragma once

#include <QtQml/QQmlExtensionPlugin>

// The app's QML modules, linked statically; include in exactly one file of each program that
// shows the views.
Q_IMPORT_QML_PLUGIN(TailwisePlugin)
Q_IMPORT_QML_PLUGIN(TailwiseUIPlugin)
Q_IMPORT_QML_PLUGIN(TailwiseMainPlugin)
Q_IMPORT_QML_PLUGIN(TailwiseLoginPlugin)
Q_IMPORT_QML_PLUGIN(TailwiseRegisterPlugin)
Q_IMPORT_QML_PLUGIN(TailwiseForgotPasswordPlugin)
Q_IMPORT_QML_PLUGIN(TailwiseTabsPlugin)
Q_IMPORT_QML_PLUGIN(TailwiseFindDogPlugin)
Q_IMPORT_QML_PLUGIN(TailwiseProfilePlugin)
Q_IMPORT_QML_PLUGIN(TailwiseChatPlugin)
Q_IMPORT_QML_PLUGIN(TailwiseSettingPlugin)
Q_IMPORT_QML_PLUGIN(TailwiseInfoPlugin)

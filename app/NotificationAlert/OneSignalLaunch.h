#pragma once

#include <QVariantMap>

class OneSignal;

// The push kit's part of the launch: `oneSignal` starts under the app's OneSignal id without
// asking for permission by itself, shows pushes that arrive in the foreground as system
// notifications, then asks for permission and prints the answer. Its player id becomes this
// device's token (published at once for a signed-in user, else by the next sign-in's user
// mirror), and its badge the feed badge count.
void startOneSignal(OneSignal &oneSignal, const QVariantMap &launchOptions = {});

#pragma once

#include <QString>

class ViewController;

// The invitation with the app's store links, in the language on display.
QString shareText();
// Offers the invitation: on this desktop build it goes to the clipboard, and an alert says so
// and shows it.
void shareAppLink(ViewController &presenter);

#include "Module/Info/ShareViewController.h"

#include "Constants.h"
#include "Module/Common/Share.h"

#include <QDesktopServices>
#include <QUrl>

ShareViewController::ShareViewController(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("Share Tailwise"));
    connect(this, &ViewController::retranslate, this, &ShareViewController::shareTextChanged);
}

QString ShareViewController::shareText() const
{
    return ::shareText();
}

QString ShareViewController::iPhoneLink() const
{
    return iOSAppLink;
}

QString ShareViewController::androidLink() const
{
    return androidAppLink;
}

void ShareViewController::copyLink()
{
    shareAppLink(*this);
}

void ShareViewController::openLink(const QString &address)
{
    // Only the two store pages this screen shows are opened.
    if (address == iOSAppLink || address == androidAppLink)
        QDesktopServices::openUrl(QUrl::fromUserInput(address));
}

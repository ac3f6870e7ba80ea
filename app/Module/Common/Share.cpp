#include "Module/Common/Share.h"

#include "Common/Extensions/Localizable.h"
#include "Constants.h"
#include "Platform/UI/ViewController.h"

#include <QClipboard>
#include <QGuiApplication>

QString shareText()
{
    return ShareAppLink(languageSelectedStringForKey(
        QStringLiteral("Join me on Tailwise, the app for dog owners.")));
}

void shareAppLink(ViewController &presenter)
{
    const QString text = shareText();
    if (QClipboard *clipboard = QGuiApplication::clipboard())
        clipboard->setText(text);
    presenter.showAlert(languageSelectedStringForKey(QStringLiteral("Link copied")), text);
}

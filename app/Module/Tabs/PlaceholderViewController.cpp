#include "Module/Tabs/PlaceholderViewController.h"

#include "Common/Extensions/Localizable.h"

PlaceholderViewController::PlaceholderViewController(const QString &titleKey, QString icon,
                                                     QString detailKey, QObject *parent)
    : ViewController(parent), icon_(std::move(icon)), detailKey_(std::move(detailKey))
{
    setTitleKey(titleKey);
}

QString PlaceholderViewController::detail() const
{
    return languageSelectedStringForKey(detailKey_);
}

#include "Common/Extensions/Localizable.h"

#include "Common/Extensions/FoundNil.h"
#include "Common/Extensions/StringsTable.h"
#include "Constants.h"
#include "Platform/Print.h"
#include "Platform/UserDefaults.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QMetaMethod>
#include <QVariant>

namespace {

// The language folders the app ships, parsed once: they are compiled in and never change, so
// later lookups only read this map and need no lock whichever thread asks.
const QHash<QString, StringsTable> &languageFolders()
{
    static const QHash<QString, StringsTable> folders = [] {
        QHash<QString, StringsTable> found;
        const QDir root(QStringLiteral(":/Resources"));
        const QStringList names =
            root.entryList({QStringLiteral("*.lproj")}, QDir::Dirs | QDir::NoDotAndDotDot);
        for (const QString &name : names) {
            const QString code = name.chopped(QStringLiteral(".lproj").size());
            QFile file(root.filePath(name + QStringLiteral("/Localizable.strings")));
            // A folder without a table translates nothing: every key comes back as it is.
            if (!file.exists()) {
                found.insert(code, *StringsTable::parse({}));
                continue;
            }
            if (!file.open(QIODevice::ReadOnly))
                fatalError(QStringLiteral("cannot read %1").arg(file.fileName()));
            QString error;
            const std::optional<StringsTable> table = StringsTable::parse(file.readAll(), &error);
            if (!table)
                fatalError(QStringLiteral("%1: %2").arg(file.fileName(), error));
            found.insert(code, *table);
        }
        return found;
    }();
    return folders;
}

bool hasProperty(const QObject *object, const char *name)
{
    return object->metaObject()->indexOfProperty(name) >= 0;
}

// The segments of a segmented element: a TabBar or other Container, or a Repeater.
QList<QObject *> segmentsOf(QObject *element)
{
    QList<QObject *> segments;
    const QMetaObject *meta = element->metaObject();
    if (!hasProperty(element, "count") || meta->indexOfMethod("itemAt(int)") < 0)
        return segments;
    const int count = element->property("count").toInt();
    for (int index = 0; index < count; ++index) {
        QObject *segment = nullptr;
        // Container::itemAt returns QQuickItem*; read it as the QObject it is.
        if (QMetaObject::invokeMethod(element, "itemAt",
                                      QGenericReturnArgument("QQuickItem*", &segment),
                                      Q_ARG(int, index)) &&
            segment)
            segments << segment;
    }
    return segments;
}

} // namespace

QString languageSelectedStringForKey(const QString &key)
{
    const std::optional<QString> code =
        UserDefaults::standard().string(Constants::userDefaults::languagecode);
    if (!code)
        foundNil(QStringLiteral("no \"languageCode\" in the settings"));
    const auto folder = languageFolders().constFind(*code);
    if (folder == languageFolders().cend())
        foundNil(QStringLiteral("no language folder \"%1.lproj\"").arg(*code));
    return folder->value(key).value_or(key);
}

QString languageCodeForSwitch(bool isOn)
{
    return isOn ? QStringLiteral("de") : QStringLiteral("en");
}

bool languageSwitchIsOn()
{
    return UserDefaults::standard().string(Constants::userDefaults::languagecode) ==
           languageCodeForSwitch(true);
}

void storeLanguageForSwitch(bool isOn)
{
    UserDefaults &store = UserDefaults::standard();
    const QString code = languageCodeForSwitch(isOn);
    const bool changed = store.string(Constants::userDefaults::languagecode) != code;
    store.setString(code, Constants::userDefaults::languagecode);
    if (changed)
        Q_EMIT
    LanguageChange::shared().languageChanged();
}

LanguageChange &LanguageChange::shared()
{
    static LanguageChange instance;
    return instance;
}

void setXibLocKey(QObject *element, const QString &key)
{
    if (!element)
        return;
    if (hasProperty(element, "text"))
        element->setProperty("text", languageSelectedStringForKey(key));
    else if (hasProperty(element, "title"))
        element->setProperty("title", languageSelectedStringForKey(key));
}

void setXibLocKeys(QObject *element, const QString &keys)
{
    if (!element)
        return;
    const QStringList split = keys.split(u',');
    const QList<QObject *> segments = segmentsOf(element);
    for (qsizetype index = 0; index < split.size() && index < segments.size(); ++index)
        segments[index]->setProperty("text", languageSelectedStringForKey(split[index]));
}

void setXibPlaceholderLocKey(QObject *element, const QString &key)
{
    if (element && element->inherits("QQuickTextField"))
        element->setProperty("placeholderText", languageSelectedStringForKey(key));
}

LocalizableAttributes::LocalizableAttributes(QObject *element) : QObject(element), element_(element)
{
    connect(&LanguageChange::shared(), &LanguageChange::languageChanged, this,
            &LocalizableAttributes::translate);
}

void LocalizableAttributes::setXibLocKey(const QString &key)
{
    locKey_ = key;
    ::setXibLocKey(element_, key);
}

void LocalizableAttributes::setXibLocKeys(const QString &keys)
{
    locKeys_ = keys;
    ::setXibLocKeys(element_, keys);
}

void LocalizableAttributes::setXibPlaceholderLocKey(const QString &key)
{
    placeholderLocKey_ = key;
    ::setXibPlaceholderLocKey(element_, key);
}

void LocalizableAttributes::translate()
{
    if (!locKey_.isNull())
        ::setXibLocKey(element_, locKey_);
    if (!locKeys_.isNull())
        ::setXibLocKeys(element_, locKeys_);
    if (!placeholderLocKey_.isNull())
        ::setXibPlaceholderLocKey(element_, placeholderLocKey_);
}

LocalizableAttributes *Localizable::qmlAttachedProperties(QObject *element)
{
    return new LocalizableAttributes(element);
}

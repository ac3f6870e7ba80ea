#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QtQml/qqmlregistration.h>

// The interface text for `key` in the language stored under "languageCode" in the settings
// store, from the string table in that language's "<code>.lproj" resource folder. Keys are the
// English texts; a key the table lacks comes back unchanged. No stored code, or a code without
// a folder, is a programming error and stops the app: launch always stores "de", and only
// codes the app ships may ever be stored.
QString languageSelectedStringForKey(const QString &key);

// The language switch of the landing and settings screens is labelled "Switch to English",
// yet on means German. Users have always had it that way round, so it stays.
QString languageCodeForSwitch(bool isOn);
// Where the switch stands for the stored language.
bool languageSwitchIsOn();
// Stores the code for the switch position and, when it changed, tells the translated
// elements on display so that they look their texts up again.
void storeLanguageForSwitch(bool isOn);

// Announces a change of the interface language to whatever shows translated texts.
class LanguageChange : public QObject
{
    Q_OBJECT

public:
    static LanguageChange &shared();

Q_SIGNALS:
    void languageChanged();

private:
    LanguageChange() = default;
};

// The design-time keys, for controllers that hold their elements themselves. Each one
// translates the element at once:
// - xibLocKey: a label's or button's text, or the title of a page, window or dialog;
// - xibLocKeys: comma-separated keys, one per segment (item i of a TabBar, a Repeater or any
//   container with count and itemAt), from segment 0;
// - xibPlaceholderLocKey: a text field's placeholder. Multi-line text areas take the key
//   without showing it, like every element that has no placeholder.
void setXibLocKey(QObject *element, const QString &key);
void setXibLocKeys(QObject *element, const QString &keys);
void setXibPlaceholderLocKey(QObject *element, const QString &key);

// The same keys as attached properties for the QML views:
//     Button { Localizable.xibLocKey: "Email Login" }
//     TextField { Localizable.xibPlaceholderLocKey: "Email" }
//     TabBar { Localizable.xibLocKeys: "Anybody,Nobody,Only Favourite" }
// Setting a key translates the element at once and again after every language change.
// Reading one always gives an empty text: the key is an instruction, not element state.
class LocalizableAttributes : public QObject
{
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(QString xibLocKey READ xibLocKey WRITE setXibLocKey)
    Q_PROPERTY(QString xibLocKeys READ xibLocKeys WRITE setXibLocKeys)
    Q_PROPERTY(QString xibPlaceholderLocKey READ xibPlaceholderLocKey WRITE setXibPlaceholderLocKey)

public:
    explicit LocalizableAttributes(QObject *element);

    QString xibLocKey() const { return {}; }
    QString xibLocKeys() const { return {}; }
    QString xibPlaceholderLocKey() const { return {}; }
    void setXibLocKey(const QString &key);
    void setXibLocKeys(const QString &keys);
    void setXibPlaceholderLocKey(const QString &key);

private:
    void translate();

    QPointer<QObject> element_;
    QString locKey_;
    QString locKeys_;
    QString placeholderLocKey_;
};

class Localizable : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Localizable only provides attached properties")
    QML_ATTACHED(LocalizableAttributes)

public:
    static LocalizableAttributes *qmlAttachedProperties(QObject *element);
};

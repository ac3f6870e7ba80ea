#include "TestSupport.h"

#include "Common/Extensions/Localizable.h"
#include "Common/Extensions/StringsTable.h"
#include "Constants.h"
#include "Platform/UserDefaults.h"

#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QRegularExpression>
#include <QSet>
#include <QtQml/QQmlExtensionPlugin>

#include <memory>

Q_IMPORT_QML_PLUGIN(TailwisePlugin)

namespace {

void storeLanguage(const QString &code)
{
    UserDefaults::standard().setString(code, Constants::userDefaults::languagecode);
}

QSet<QString> tableKeys(const QString &code)
{
    QFile file(QStringLiteral(":/Resources/%1.lproj/Localizable.strings").arg(code));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const std::optional<StringsTable> table = StringsTable::parse(file.readAll());
    if (!table)
        return {};
    const QList<QString> keys = table->keys();
    return {keys.cbegin(), keys.cend()};
}

// --- the table format -----------------------------------------------------------------------

struct GoodTable
{
    const char *text;
    std::vector<std::pair<QString, QString>> entries;
};

TEST(StringsTableFormat, ReadsEntriesCommentsAndEscapes)
{
    const GoodTable cases[] = {
        {"", {}},
        {"  \"a\"=\"b\" ; \"c\"\n=\n\"d\";", {{"a", "b"}, {"c", "d"}}},
        {"\"x\" /* between */ = // here too\n \"y\";", {{"x", "y"}}},
        {R"("q" = "say \"hi\"\\now";)", {{"q", "say \"hi\"\\now"}}},
        {R"("u" = "\U00e4\u00DF";)", {{"u", QStringLiteral(u"äß")}}},
        {"\"\xc3\xa4\" = \"\xe2\x82\xac\";", {{QStringLiteral(u"ä"), QStringLiteral(u"€")}}},
        {"\xef\xbb\xbf\"bom\" = \"ok\";", {{"bom", "ok"}}},
        {"\" is empty\" = \" ist leer\";", {{" is empty", " ist leer"}}},
        {"\"\" = \"\";", {{"", ""}}},
    };
    for (const GoodTable &c : cases) {
        QString error;
        const std::optional<StringsTable> table = StringsTable::parse(c.text, &error);
        ASSERT_TRUE(table) << c.text << ": " << error.toStdString();
        EXPECT_EQ(table->size(), qsizetype(c.entries.size())) << c.text;
        for (const auto &[key, value] : c.entries)
            EXPECT_EQ(table->value(key), value) << c.text;
    }
}

TEST(StringsTableFormat, RejectsSlipsWithTheirLine)
{
    const std::pair<const char *, const char *> cases[] = {
        {"key = \"value\";", "line 1: expected a quoted key"},
        {"\"a\" = \"b\"", "line 1: expected ';' but the text ends"},
        {"\"a\" = \"b\"\n\"c\" = \"d\";", "line 2: expected ';', found '\"'"},
        {"\"a\" = \"b\";\n\n\"a\" = \"c\";", "line 3: key \"a\" already defined"},
        {"\"a\" = \"never closed;\n", "line 1: text never closed"},
        {"\n/* open", "line 2: comment never closed"},
        {R"("a" = "\q";)", "line 1: unknown escape \\q"},
        {R"("a" = "\U12";)", "line 1: \\U needs four hexadecimal digits"},
        {"\"a\" = \"\xff\";", "not UTF-8 text"},
    };
    for (const auto &[text, expected] : cases) {
        QString error;
        EXPECT_FALSE(StringsTable::parse(text, &error)) << text;
        EXPECT_EQ(error.toStdString(), expected) << text;
    }
}

// --- looking texts up -----------------------------------------------------------------------

class Localisation : public FreshSettings
{
protected:
    void SetUp() override
    {
        FreshSettings::SetUp();
        storeLanguage(QStringLiteral("de"));
    }
};

TEST_F(Localisation, LooksUpInTheStoredLanguageAtEveryCall)
{
    EXPECT_EQ(languageSelectedStringForKey(QStringLiteral("Privacy Policy")),
              QStringLiteral(u"Datenschutzerklärung"));
    storeLanguage(QStringLiteral("en"));
    EXPECT_EQ(languageSelectedStringForKey(QStringLiteral("Privacy Policy")), "Privacy Policy");
    EXPECT_EQ(languageSelectedStringForKey(QStringLiteral("Registeration")), "Registration");
    storeLanguage(QStringLiteral("de"));
    EXPECT_EQ(languageSelectedStringForKey(QStringLiteral("Today")), "Heute");
}

TEST_F(Localisation, AKeyMissingFromTheTableComesBackUnchanged)
{
    for (const char *code : {"de", "en"}) {
        storeLanguage(QString::fromLatin1(code));
        for (const QString &key : {QStringLiteral(""), QStringLiteral("today")})
            EXPECT_EQ(languageSelectedStringForKey(key), key) << code;
    }
}

TEST_F(Localisation, SwitchingTheLanguageChangesEveryText)
{
    const QSet<QString> keys = tableKeys(QStringLiteral("en"));
    ASSERT_GT(keys.size(), 50);
    // German writes these exactly like English.
    const QSet<QString> sameInBoth = {"OK", "Name", "Chat", "1", "2", "3", "%1 km", "Vibration"};
    QHash<QString, QString> german;
    for (const QString &key : keys)
        german[key] = languageSelectedStringForKey(key);
    storeLanguage(QStringLiteral("en"));
    for (const QString &key : keys) {
        const QString english = languageSelectedStringForKey(key);
        EXPECT_FALSE(german[key].trimmed().isEmpty()) << key.toStdString();
        EXPECT_FALSE(english.trimmed().isEmpty()) << key.toStdString();
        if (!sameInBoth.contains(key)) {
            EXPECT_NE(german[key], english) << key.toStdString();
        }
    }
}

using LocalisationDeathTest = Localisation;

TEST_F(LocalisationDeathTest, NoStoredLanguageOrNoFolderForItStopsTheApp)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    UserDefaults::standard().removeObject(Constants::userDefaults::languagecode);
    EXPECT_DEATH(languageSelectedStringForKey(QStringLiteral("Login")),
                 "Unexpectedly found nil while unwrapping an Optional value");
    storeLanguage(QStringLiteral("fr"));
    EXPECT_DEATH(languageSelectedStringForKey(QStringLiteral("Login")),
                 "Unexpectedly found nil.*fr\\.lproj");
}

// --- which keys the tables must hold --------------------------------------------------------

// Keys handed to the lookup as literals anywhere in the app, in C++ or in QML.
QSet<QString> keysUsedInSources()
{
    static const QString text =
        QStringLiteral(R"__(((?:QStringLiteral\(\s*|QLatin1String\(\s*|u)?"((?:[^"\\]|\\.)*)"))__");
    const QRegularExpression uses[] = {
        QRegularExpression(QStringLiteral(R"((?:languageSelectedStringForKey|setTitleKey)\(\s*)") +
                           text),
        QRegularExpression(QStringLiteral(R"(xib(?:Placeholder)?LocKeys?\s*:\s*)") + text),
        QRegularExpression(QStringLiteral(R"(setXib(?:Placeholder)?LocKeys?\([^,;]*,\s*)") + text),
    };
    QSet<QString> keys;
    QDirIterator files(QStringLiteral(TAILWISE_APP_SOURCE_DIR),
                       {QStringLiteral("*.cpp"), QStringLiteral("*.h"), QStringLiteral("*.qml")},
                       QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QString source = QString::fromUtf8(file.readAll());
        for (const QRegularExpression &use : uses) {
            for (const QRegularExpressionMatch &match : use.globalMatch(source)) {
                QString key = match.captured(2);
                key.replace(QStringLiteral("\\\""), QStringLiteral("\""))
                    .replace(QStringLiteral("\\\\"), QStringLiteral("\\"));
                const bool several = match.captured(0).contains(QStringLiteral("LocKeys"));
                for (const QString &one : several ? key.split(u',') : QStringList{key})
                    keys << one;
            }
        }
    }
    return keys;
}

TEST(StringTables, HoldEveryKeyTheAppUses)
{
    const QSet<QString> german = tableKeys(QStringLiteral("de"));
    const QSet<QString> english = tableKeys(QStringLiteral("en"));
    ASSERT_FALSE(german.isEmpty());
    EXPECT_EQ(german - english, QSet<QString>()) << "only in the German table";
    EXPECT_EQ(english - german, QSet<QString>()) << "only in the English table";

    const QSet<QString> used = keysUsedInSources();
    // The scan must see the validation messages, or it is looking at nothing.
    EXPECT_TRUE(used.contains(QStringLiteral("Email is not valid")));
    EXPECT_TRUE(used.contains(QStringLiteral(" is empty")));
    for (const QString &key : used) {
        EXPECT_TRUE(german.contains(key)) << "missing in de.lproj: \"" << key.toStdString() << '"';
        EXPECT_TRUE(english.contains(key)) << "missing in en.lproj: \"" << key.toStdString() << '"';
    }

    // Field names reach the lookup through a variable when an account form reports an empty
    // field, so the scan cannot see them.
    for (const QString key : {"Email", "Password", "Confirm Password"}) {
        EXPECT_TRUE(german.contains(key)) << "de.lproj lacks \"" << key.toStdString() << '"';
        EXPECT_TRUE(english.contains(key)) << "en.lproj lacks \"" << key.toStdString() << '"';
    }
}

// --- the design-time keys ------------------------------------------------------------------

TEST_F(Localisation, DesignTimeKeysTranslateQmlElementsAndFollowTheSwitch)
{
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData(R"(
        import QtQuick
        import QtQuick.Controls
        import Tailwise
        Page {
            Localizable.xibLocKey: "SETTINGS"
            property alias label: label
            property alias field: field
            property alias area: area
            property alias segments: segments
            Column {
                Label { id: label; Localizable.xibLocKey: "Last Seen" }
                TextField { id: field; Localizable.xibPlaceholderLocKey: "Password" }
                TextArea { id: area; placeholderText: "kept"; Localizable.xibPlaceholderLocKey: "Email" }
                TabBar {
                    id: segments
                    TabButton {} TabButton {} TabButton { text: "third" }
                    Localizable.xibLocKeys: "Anybody,Nobody"
                }
            }
        })",
                      QUrl());
    const std::unique_ptr<QObject> page(component.create());
    ASSERT_TRUE(page) << component.errorString().toStdString();
    auto item = [&page](const char *name) { return page->property(name).value<QObject *>(); };
    auto segment = [&item](int index) {
        QObject *found = nullptr;
        QMetaObject::invokeMethod(item("segments"), "itemAt",
                                  QGenericReturnArgument("QQuickItem*", &found), Q_ARG(int, index));
        return found ? found->property("text").toString() : QStringLiteral("<none>");
    };

    EXPECT_EQ(page->property("title"), "EINSTELLUNGEN");
    EXPECT_EQ(item("label")->property("text"), "Zuletzt online");
    EXPECT_EQ(item("field")->property("placeholderText"), "Passwort");
    EXPECT_EQ(item("area")->property("placeholderText"), "kept");
    EXPECT_EQ(segment(0), "Jeder");
    EXPECT_EQ(segment(1), "Niemand");
    EXPECT_EQ(segment(2), "third");
    // A key is an instruction, not state: it never reads back.
    QObject *attributes = qmlAttachedPropertiesObject<Localizable>(item("label"), false);
    ASSERT_NE(attributes, nullptr);
    EXPECT_EQ(attributes->property("xibLocKey"), "");

    storeLanguageForSwitch(false);
    EXPECT_EQ(page->property("title"), "SETTINGS");
    EXPECT_EQ(item("field")->property("placeholderText"), "Password");
    EXPECT_EQ(segment(1), "Nobody");
}

} // namespace

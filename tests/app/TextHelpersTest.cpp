#include "Common/Extensions/StringExtension.h"
#include "Common/Extensions/VGExtensions.h"
#include "Platform/Print.h"

#include <QFont>

#include <gtest/gtest.h>

namespace {

// Addresses from the usual public lists of valid and invalid forms (Wikipedia's examples, the
// lists validator libraries test against), judged by the app's pattern. Where the pattern and
// the mail standards disagree the pattern wins, and the case says so.
TEST(EmailAddresses, WholeAddressesMatchCaseInsensitively)
{
    const char *const valid[] = {
        "simple@example.com",
        "disposable.style.email.with+symbol@example.com",
        "other.email-with-hyphen@example.com",
        "user%example.com@example.org",
        "_______@example.com",
        "email@example.co.jp",
        "Firstname.Lastname@Example.COM",
        "#!$%&'*+-/=?^_`{}|~@example.org",
        "\"john..doe\"@example.org",
        "postmaster@[123.123.123.123]",
        "email@123.123.123.123",
        "user@[1.2.3.tag:x]", // the address-literal tag form after three dotted numbers
    };
    const char *const invalid[] = {
        "",
        "plainaddress",
        "A@b@c@example.com",
        "@example.com",
        "email@",
        "just\"not\"right@example.com",
        "i.like.underscores@but_they_are_not_allowed_in_this_part",
        "Joe Smith <email@example.com>",
        ".email@example.com",
        "email..email@example.com",
        "email@-example.com",
        "email@example..com",
        "email@example", // a single label, "admin@mailserver1" in the lists, is not accepted
        // Quoted spaces, allowed by the standard, are not.
        "\" \"@example.org",
        "postmaster@[IPv6:2001:db8::1]",
        "user@[300.1.1.1]",
        " a@b.co",
        "a@b.co\n",
        "user@\xc3\xa9xample.com",
    };
    for (const char *address : valid)
        EXPECT_TRUE(isValidEmail(QString::fromUtf8(address))) << address;
    for (const char *address : invalid)
        EXPECT_FALSE(isValidEmail(QString::fromUtf8(address))) << address;
}

TEST(HexColours, ByTheNumberOfDigits)
{
    struct Case
    {
        const char *text;
        int red, green, blue, alpha;
    };
    const Case cases[] = {
        {"#FFF", 255, 255, 255, 255},
        {"fff", 255, 255, 255, 255},
        {"  #abc  ", 0xAA, 0xBB, 0xCC, 255},
        {"#007AFF", 0x00, 0x7A, 0xFF, 255},
        {"80FF0000", 255, 0, 0, 128},
        {"12345", 0, 0, 0, 255},
        {"#1234567", 0, 0, 0, 255},
        {"", 0, 0, 0, 255},
        // The digits are read up to the first character that is none; the length still
        // counts them all.
        {"#F0Z", 0, 255, 0, 255},
        {"#GGGGGG", 0, 0, 0, 255},
        {"#12 456", 0, 0, 0x12, 255},
    };
    for (const Case &c : cases) {
        const QColor colour = colorFromHexString(QString::fromLatin1(c.text));
        EXPECT_EQ(colour, QColor(c.red, c.green, c.blue, c.alpha))
            << c.text << " gave " << colour.name(QColor::HexArgb).toStdString();
    }
}

TEST(TextHelpers, TrimmingAndEmptiness)
{
    const std::tuple<QString, QString, bool> cases[] = {
        {QStringLiteral("  a b \n"), QStringLiteral("a b"), false},
        {QStringLiteral("\t\r\n "), QString(), true},
        {QStringLiteral(u"\u00a0x\u3000"), QStringLiteral("x"), false},
        {QString(), QString(), true},
    };
    for (const auto &[text, expected, empty] : cases) {
        EXPECT_EQ(trimmed(text), expected) << text.toStdString();
        EXPECT_EQ(isEmpty(text), empty) << text.toStdString();
    }
    EXPECT_TRUE(passWordNotMatch(QStringLiteral("Secret1"), QStringLiteral("secret1")));
}

TEST(TextHelpers, SubstringCountsWhatTheReaderSees)
{
    const std::tuple<QString, int, int, QString> cases[] = {
        {QStringLiteral("Hello"), 1, 3, QStringLiteral("el")},
        {QStringLiteral("Hello"), 0, 99, QStringLiteral("Hello")},
        {QStringLiteral("Hello"), -2, 2, QStringLiteral("He")},
        {QStringLiteral("Hello"), 3, 1, QString()},
        {QStringLiteral(u"a👍🏽b"), 1, 2, QStringLiteral(u"👍🏽")},
        {QStringLiteral(u"e\u0301tat"), 0, 1, QStringLiteral(u"e\u0301")},
    };
    for (const auto &[text, from, to, expected] : cases)
        EXPECT_EQ(substring(text, from, to), expected) << text.toStdString() << from << to;
}

TEST(TextHelpers, TextSizeGrowsWithTextLinesAndFont)
{
    QFont font;
    font.setPixelSize(14);
    QFont larger = font;
    larger.setPixelSize(28);
    const QSizeF one = textSize(QStringLiteral("Rex"), font);
    EXPECT_GT(textSize(QStringLiteral("Rex and Bella"), font).width(), one.width());
    EXPECT_NEAR(textSize(QStringLiteral("Rex\nBella"), font).height(), 2 * one.height(), 2);
    EXPECT_GT(textSize(QStringLiteral("Rex"), larger).height(), one.height() * 1.5);
    EXPECT_EQ(textSize(QString(), font).width(), 0);
}

} // namespace

namespace {

TEST(LogLines, HidePasswordsAndTokensInRequestAndAnswerDumps)
{
    EXPECT_EQ(withoutSecrets(QStringLiteral("Post Data -> {\n  \"email\" : \"a@b.de\",\n"
                                            "  \"password\" : \"se\\\"cret\"\n}")),
              QStringLiteral("Post Data -> {\n  \"email\" : \"a@b.de\",\n"
                             "  \"password\" : \"<hidden>\"\n}"));
    EXPECT_EQ(
        withoutSecrets(QStringLiteral(
            R"({"old_password":"a","new_password":"b","user_data":[{"userToken":"c1"}]})")),
        QStringLiteral(
            R"({"old_password":"<hidden>","new_password":"<hidden>","user_data":[{"userToken":"<hidden>"}]})"));
    const QString harmless = QStringLiteral(R"({"passwordHint":"x","message":"password wrong"})");
    EXPECT_EQ(withoutSecrets(harmless), harmless);
}

} // namespace

#include "TestSupport.h"

#include "Common/Extensions/DateExtension.h"
#include "Common/Extensions/StringExtension.h"
#include "Common/Extensions/VGExtensions.h"
#include "Common/Models/DateMethods.h"
#include "Constants.h"
#include "Platform/UserDefaults.h"

#include <gtest/gtest-spi.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <ctime>
#include <memory>

namespace {

QDateTime utc(int year, int month, int day, int hour, int minute, int second, int ms = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, ms), Qt::UTC);
}

// The device's time zone, locale and clock as a test sets them. The machine's own zone is
// pointed somewhere far away meanwhile, so that a helper reading it instead shows up.
class DeviceTime : public FreshSettings
{
protected:
    void SetUp() override
    {
        FreshSettings::SetUp();
        savedZone_.reset(icu::TimeZone::createDefault());
        savedLocale_ = icu::Locale::getDefault();
        machineZone_ = std::make_unique<ScopedEnvironment>("TZ", "Pacific/Kiritimati");
        tzset();
        device("UTC");
        UserDefaults::standard().setString(QStringLiteral("en"),
                                           Constants::userDefaults::languagecode);
    }

    void TearDown() override
    {
        icu::TimeZone::setDefault(*savedZone_);
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(savedLocale_, status);
        machineZone_.reset();
        tzset();
        FreshSettings::TearDown();
    }

    static void device(const char *zone, const char *locale = "en_US")
    {
        icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone(zone));
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(icu::Locale(locale), status);
        ASSERT_TRUE(U_SUCCESS(status));
    }

    void now(const QDateTime &instant)
    {
        clock_.reset();
        clock_.emplace([instant] { return instant; });
    }
    // The system clock again.
    void unpinNow() { clock_.reset(); }

    static void language(const char *code)
    {
        UserDefaults::standard().setString(QString::fromLatin1(code),
                                           Constants::userDefaults::languagecode);
    }

private:
    std::optional<ScopedCurrentDate> clock_;
    std::unique_ptr<icu::TimeZone> savedZone_;
    icu::Locale savedLocale_;
    std::unique_ptr<ScopedEnvironment> machineZone_;
};

using DateHelpers = DeviceTime;

TEST_F(DateHelpers, TheSameInstantReadsTheSameWhereverTheMachineIs)
{
    struct Case
    {
        const char *zone;
        QDateTime instant;
        const char *local;    // unixToLocal and timeStampForMessage
        const char *readable; // readableDate
        const char *server;   // dateString(dateTimeForServer)
    };
    const QDateTime winter = utc(2019, 3, 5, 13, 2, 3, 456);
    const QDateTime summer = utc(2019, 7, 1, 22, 30, 0);
    const Case cases[] = {
        {"UTC", winter, "2019-03-05 01:02:03 PM", "05/03/19", "2019-03-05 13:02:03"},
        {"Europe/Berlin", winter, "2019-03-05 02:02:03 PM", "05/03/19", "2019-03-05 14:02:03"},
        {"America/New_York", winter, "2019-03-05 08:02:03 AM", "05/03/19", "2019-03-05 08:02:03"},
        {"Asia/Kolkata", winter, "2019-03-05 06:32:03 PM", "05/03/19", "2019-03-05 18:32:03"},
        {"Europe/Berlin", summer, "2019-07-02 12:30:00 AM", "02/07/19", "2019-07-02 00:30:00"},
    };
    for (const Case &c : cases) {
        device(c.zone);
        now(c.instant);
        const std::string where = std::string(c.zone) + " " + c.local;
        EXPECT_EQ(unixToLocal(double(c.instant.toMSecsSinceEpoch())), c.local) << where;
        EXPECT_EQ(unixToLcl(QString::number(c.instant.toMSecsSinceEpoch())), c.local) << where;
        EXPECT_EQ(TimeStampFirebase().timeStampForMessage(), c.local) << where;
        EXPECT_EQ(readableDate(c.instant), c.readable) << where;
        EXPECT_EQ(dateString(c.instant, DateFormat::dateTimeForServer), c.server) << where;
        // Reading the text back gives the instant, to the second.
        EXPECT_EQ(TimeStampFirebase().date(QString::fromLatin1(c.local)),
                  c.instant.addMSecs(-c.instant.time().msec()))
            << where;
    }
}

TEST_F(DateHelpers, FormatsWriteInTheDeviceZoneAndUnknownPatternsAreRefused)
{
    device("Europe/Berlin");
    const QDateTime instant = utc(2019, 3, 5, 13, 2, 3);
    // "yyy" and a 12-hour clock without a space before the marker.
    EXPECT_EQ(dateString(instant, DateFormat::dateWithTime), "Mar-05, 2019 02:02PM");
    EXPECT_EQ(dateString(instant, DateFormat::ddMMyyHHmm), "05-03-19 14:02");
    EXPECT_EQ(fromRawValue<DateFormat>(QStringLiteral("hh a")), DateFormat::hourComponent);
    for (const char *other : {"", "yyyy-MM-dd ", "YYYY-MM-DD"})
        EXPECT_EQ(fromRawValue<DateFormat>(QString::fromLatin1(other)), std::nullopt) << other;
    // Around New Year the year is the device's, not UTC's.
    EXPECT_EQ(dateString(utc(2018, 12, 31, 23, 30, 0), DateFormat::year), "2019");
    device("America/New_York");
    EXPECT_EQ(dateString(utc(2019, 1, 1, 3, 0, 0), DateFormat::year), "2018");
}

TEST_F(DateHelpers, MillisecondsAndSecondsAreNotMixedUp)
{
    EXPECT_EQ(unixToLocal(1000), "1970-01-01 12:00:01 AM");
    EXPECT_EQ(unixToLocal(1999.9), "1970-01-01 12:00:01 AM");
    EXPECT_EQ(unixToLcl(QStringLiteral("-1000")), "1969-12-31 11:59:59 PM");
    EXPECT_EQ(unixToLcl(QStringLiteral("+1551790923000")), "2019-03-05 01:02:03 PM");
    const std::pair<const char *, qint64> seconds[] = {
        {"1", 1000},
        {"1.5", 1500},
        {"-1", -1000},
        {".25", 250},
    };
    for (const auto &[text, ms] : seconds)
        EXPECT_EQ(TimeStampToDate(QString::fromLatin1(text)).toMSecsSinceEpoch(), ms) << text;
}

TEST_F(DateHelpers, NowIsStampedInWholeSeconds)
{
    const QDateTime instant = utc(2019, 3, 5, 13, 2, 3, 789);
    for (const char *zone : {"UTC", "America/Los_Angeles"}) {
        device(zone);
        now(instant);
        EXPECT_EQ(localToUTC(), utc(2019, 3, 5, 13, 2, 3)) << zone;
        EXPECT_EQ(unixTimeStamp(), 1551790923000.0) << zone;
    }
    // And with the real clock.
    unpinNow();
    EXPECT_EQ(QString::number(qint64(unixTimeStamp())).right(3), "000");
}

const QDateTime guardedNow = utc(2020, 1, 2, 3, 4, 5);

void failWithTheClockReplaced()
{
    const ScopedCurrentDate clock([] { return guardedNow; });
    ASSERT_NE(current(), guardedNow) << "fails on purpose";
}

TEST(ScopedStandards, PutBackWhatWasInstalledEvenWhenAnAssertionFails)
{
    const QDateTime outer = utc(2019, 3, 5, 13, 2, 3);
    const ScopedCurrentDate clock([outer] { return outer; });
    EXPECT_FATAL_FAILURE(failWithTheClockReplaced(), "fails on purpose");
    EXPECT_EQ(current(), outer);
}

TEST_F(DateHelpers, ServerDatesAreCheckedStrictly)
{
    const std::pair<const char *, bool> cases[] = {
        {"2019-03-05 13:02:03", true},
        {"2020-02-29 00:00:00", true},
        {"2019-02-29 00:00:00", false},
        {"2019-03-05 24:00:00", false},
        {"2019-03-05 13:02:03 PM", false},
        {"2019-03-05T13:02:03", false},
        {"", false},
    };
    for (const auto &[text, valid] : cases)
        EXPECT_EQ(isValidDate(QString::fromLatin1(text)), valid) << text;

    // Converting between texts keeps the wall-clock time, whatever the device's zone.
    for (const char *zone : {"UTC", "Europe/Berlin", "America/New_York"}) {
        device(zone);
        const QString server = QStringLiteral("2019-03-05 14:02:03");
        EXPECT_EQ(convertDate(server, DateFormat::dateTimeForServer, DateFormat::dateWithTime),
                  "Mar-05, 2019 02:02PM")
            << zone;
        EXPECT_EQ(UTCToLocal(QStringLiteral("2019-03-05 01:02:03 pm")), "2019-03-05 01:02:03 PM")
            << zone;
    }
    device("Europe/Berlin");
    EXPECT_EQ(date(QStringLiteral("2019-03-05"), DateFormat::dateOnlyForServer),
              utc(2019, 3, 4, 23, 0, 0));
}

TEST_F(DateHelpers, CountdownInDaysAndHours)
{
    struct Case
    {
        QDateTime now;
        const char *end;
        const char *type;
        const char *text;
    };
    const QDateTime noon = utc(2019, 3, 5, 11, 0, 0); // 12:00 in Berlin
    const Case cases[] = {
        {noon, "2019-03-07 15:30:00", "Event", "2 day(s) and 3 hour(s) for Event"},
        {noon, "2019-03-05 17:59:59", "Task", "5 hour(s) for Task"}, // seconds are dropped
        {noon, "2019-03-05 09:00:00", "Event", "-3 hour(s) for Event"},
        {noon, "2019-03-04 10:00:00", "Event", "Event Ended!"},
        {noon, "2019-03-04 10:00:00", "Task", "Task Expired!"},
        // Across the change to summer time a calendar day has 23 hours.
        {utc(2019, 3, 30, 11, 0, 0), "2019-03-31 12:00:00", "Event",
         "1 day(s) and 0 hour(s) for Event"},
    };
    device("Europe/Berlin");
    for (const Case &c : cases) {
        now(c.now);
        EXPECT_EQ(getRemainingTime(QString::fromLatin1(c.end), QString::fromLatin1(c.type)), c.text)
            << c.end;
    }
}

TEST_F(DateHelpers, MessageTimeWordsHowLongAgoInBothLanguages)
{
    struct Case
    {
        qint64 secondsAgo;
        const char *english;
        const char *german;
    };
    const Case cases[] = {
        {-30, "Just Now", "Just Now"},
        {59, "Just Now", "Just Now"},
        {60, "1 min(s) ago", "Vor 1 min"},
        {3599, "59 min(s) ago", "Vor 59 min"},
        {3600, "Today 01:02 PM", "Heute 01:02 PM"},
        {86399, "Today 02:02 PM", "Heute 02:02 PM"},
        {86400, "Yesterday 02:02 PM", "Gestern 02:02 PM"},
        {172800, "Mar 3, 2019, 2:02 PM", "vorgestern, 2:02 PM"},
        {259200, "Mar 2, 2019, 2:02 PM", "02.03.2019, 2:02 PM"},
    };
    const QDateTime instant = utc(2019, 3, 5, 13, 2, 3, 789); // 14:02:03 in Berlin
    device("Europe/Berlin");
    now(instant);
    for (const Case &c : cases) {
        const QString text =
            unixToLocal(double(instant.addSecs(-c.secondsAgo).toMSecsSinceEpoch()));
        language("en");
        EXPECT_EQ(messageTime(text), c.english) << c.secondsAgo;
        language("de");
        EXPECT_EQ(messageTime(text), c.german) << c.secondsAgo;
    }

    // The limits are on elapsed time: 22:50 yesterday read at 00:10 is still today.
    language("en");
    now(utc(2019, 3, 4, 23, 10, 0));
    EXPECT_EQ(messageTime(QStringLiteral("2019-03-04 10:50:00 PM")), "Today 10:50 PM");
    // The time of day is the device's.
    device("America/New_York");
    now(instant);
    EXPECT_EQ(messageTime(unixToLocal(double(instant.addSecs(-3600).toMSecsSinceEpoch()))),
              "Today 07:02 AM");
}

TEST_F(DateHelpers, MessageTimesReadAcrossDeviceLocales)
{
    device("UTC", "ko_KR");
    now(utc(2019, 3, 5, 13, 2, 3));
    const QString korean = unixToLocal(double(utc(2019, 3, 5, 12, 2, 3).toMSecsSinceEpoch()));
    EXPECT_EQ(korean, QStringLiteral(u"2019-03-05 12:02:03 오후"));
    EXPECT_EQ(messageTime(korean), QStringLiteral(u"Today 12:02 오후"));
    // Written on an English device, read on this one.
    EXPECT_EQ(messageTime(QStringLiteral("2019-03-05 12:02:03 PM")),
              QStringLiteral(u"Today 12:02 오후"));
}

using DateHelpersDeathTest = DeviceTime;

TEST_F(DateHelpersDeathTest, TextThatIsNoTimeStopsTheApp)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::pair<const char *, std::function<void()>> cases[] = {
        {"firebase date", [] { TimeStampFirebase().date(QStringLiteral("yesterday")); }},
        {"24-hour text", [] { UTCToLocal(QStringLiteral("2019-03-05 13:02:03")); }},
        {"fraction", [] { unixToLcl(QStringLiteral("12.5")); }},
        {"overflow", [] { unixToLcl(QStringLiteral("99999999999999999999")); }},
        {"no number", [] { TimeStampToDate(QStringLiteral("abc")); }},
        {"empty", [] { TimeStampToDate(QString()); }},
        {"no such day",
         [] {
             convertDate(QStringLiteral("2019-02-30 10:00:00"), DateFormat::dateTimeForServer,
                         DateFormat::dateOnly);
         }},
        {"countdown", [] { getRemainingTime(QStringLiteral("soon"), QStringLiteral("Event")); }},
    };
    for (const auto &[what, call] : cases)
        EXPECT_DEATH(call(), "Unexpectedly found nil while unwrapping an Optional value") << what;
}

} // namespace

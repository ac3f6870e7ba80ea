#include "Platform/DatabaseTree.h"
#include "Platform/EventStreamParser.h"
#include "Platform/PushId.h"
#include "Platform/ServerValue.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using Event = EventStreamParser::Event;

// ---- the event stream, cut into chunks anywhere ----

struct StreamCase
{
    const char *name;
    QByteArray bytes;
    QList<Event> events;
};

void PrintTo(const StreamCase &c, std::ostream *out)
{
    *out << c.name;
}

class EventStream : public ::testing::TestWithParam<StreamCase>
{};

TEST_P(EventStream, GivesTheSameEventsHoweverTheBytesArrive)
{
    const StreamCase &c = GetParam();
    // Whole, byte by byte, and cut at every position in two.
    {
        EventStreamParser parser;
        EXPECT_EQ(parser.feed(c.bytes), c.events) << "whole";
    }
    {
        EventStreamParser parser;
        QList<Event> events;
        for (char byte : c.bytes)
            events += parser.feed(QByteArray(1, byte));
        EXPECT_EQ(events, c.events) << "byte by byte";
    }
    for (qsizetype cut = 1; cut < c.bytes.size(); ++cut) {
        EventStreamParser parser;
        QList<Event> events = parser.feed(c.bytes.left(cut));
        events += parser.feed(c.bytes.mid(cut));
        EXPECT_EQ(events, c.events) << "cut at " << cut;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, EventStream,
    ::testing::Values(
        StreamCase{"crlf",
                   "event: put\r\ndata: 1\r\n\r\nevent: patch\r\ndata: 2\r\n\r\n",
                   {{"put", "1", ""}, {"patch", "2", ""}}},
        StreamCase{"cr",
                   "event: put\rdata: 1\r\revent: keep-alive\rdata: null\r\r",
                   {{"put", "1", ""}, {"keep-alive", "null", ""}}},
        StreamCase{"multiLineData",
                   "event: put\ndata: {\"a\":\ndata: 1}\n\n",
                   {{"put", "{\"a\":\n1}", ""}}},
        StreamCase{"commentsUnknownFieldsNoSpace",
                   ": hello\nid: 7\nretry: 10\nevent:cancel\ndata:why\n\n",
                   {{"cancel", "why", "7"}}},
        StreamCase{"lastEventIdCarriesOverUntilCleared",
                   "id: 1\ndata: a\n\ndata: b\n\nid\ndata: c\n\n",
                   {{"message", "a", "1"}, {"message", "b", "1"}, {"message", "c", ""}}},
        StreamCase{"unfinishedEventWaits",
                   "event: put\ndata: 1\n\nevent: put\ndata: 2\n",
                   {{"put", "1", ""}}},
        StreamCase{
            "unnamedAndEmpty", "data: x\n\n\n\nevent: connected\n\n", {{"message", "x", ""}}}),
    [](const ::testing::TestParamInfo<StreamCase> &info) { return info.param.name; });

// ---- keys, order and the tree ----

TEST(DatabaseTree, OrdersKeysAsTheDatabaseDoes)
{
    QStringList keys = {"b", "10", "-3", "07", "2147483648", "7", "a", "-LZ", "2", "A"};
    std::sort(keys.begin(), keys.end(), DatabaseTree::keyLess);
    // Integers within 32 bits numerically ("7" before "07"); the rest as text.
    EXPECT_EQ(keys, QStringList({"-3", "2", "7", "07", "10", "-LZ", "2147483648", "A", "a", "b"}));
}

TEST(DatabaseTree, OrdersByChildValueTypeThenValueThenKey)
{
    const QVariantMap children = {
        {"obj", QVariantMap{{"t", QVariantMap{{"x", 1}}}}},
        {"str", QVariantMap{{"t", "abc"}}},
        {"num2", QVariantMap{{"t", 2.5}}},
        {"num1", QVariantMap{{"t", qlonglong(2)}}},
        {"yes", QVariantMap{{"t", true}}},
        {"no", QVariantMap{{"t", false}}},
        {"b-missing", QVariantMap{{"u", 1}}},
        {"a-missing", QVariantMap{{"u", 2}}},
    };
    EXPECT_EQ(DatabaseTree::orderedKeys(children, QStringList{"t"}),
              QStringList({"a-missing", "b-missing", "no", "yes", "num1", "num2", "str", "obj"}));
}

TEST(DatabaseTree, NormalisesAndPrunesLikeTheServer)
{
    using DatabaseTree::normalised;
    // Arrays become objects keyed by index, nulls and empty objects vanish, integral doubles
    // are integers.
    EXPECT_EQ(normalised(QVariantList{"a", QVariant(), "c"}),
              QVariant(QVariantMap{{"0", "a"}, {"2", "c"}}));
    EXPECT_EQ(normalised(QVariantMap{{"x", QVariantMap{}}, {"y", 3.0}}),
              QVariant(QVariantMap{{"y", qlonglong(3)}}));
    EXPECT_FALSE(normalised(QVariantMap{{"x", QVariant()}}).isValid());
    EXPECT_EQ(*DatabaseTree::fromJson(R"({"a":[1,2.5,null],"b":{}})"),
              QVariant(QVariantMap{{"a", QVariantMap{{"0", qlonglong(1)}, {"1", 2.5}}}}));
    EXPECT_EQ(DatabaseTree::fromJson("\"text\"")->toString(), "text");
    EXPECT_FALSE(DatabaseTree::fromJson("{nope").has_value());

    QVariant root = QVariantMap{{"a", QVariantMap{{"b", QVariantMap{{"c", 1}}}}}, {"d", 2}};
    DatabaseTree::setAt(root, {"a", "b", "c"}, {});
    EXPECT_EQ(root, QVariant(QVariantMap{{"d", 2}})) << "parents left empty vanish";
    DatabaseTree::setAt(root, {"d", "e"}, "leaf");
    EXPECT_EQ(DatabaseTree::valueAt(root, {"d", "e"}).toString(), "leaf");
    DatabaseTree::setAt(root, {"x", "y"}, {});
    EXPECT_EQ(root, QVariant(QVariantMap{{"d", QVariantMap{{"e", "leaf"}}}}));
}

TEST(DatabaseTree, EstimatesServerValuesLocally)
{
    const QVariant resolved = DatabaseTree::resolveServerValues(
        QVariantMap{{"at", ServerValue::timestamp()},
                    {"n", ServerValue::increment(2)},
                    {"m", ServerValue::increment(5)},
                    {"odd", QVariantMap{{".sv", "time_stamp"}}}},
        QVariantMap{{"n", qlonglong(40)}, {"m", "text"}}, 1'700'000'000'000);
    EXPECT_EQ(resolved, QVariant(QVariantMap{{"at", qlonglong(1'700'000'000'000)},
                                             {"n", qlonglong(42)},
                                             {"m", qlonglong(5)},
                                             {"odd", QVariantMap{{".sv", "time_stamp"}}}}));
}

// ---- push ids ----

TEST(PushId, IsTwentyCharactersSortingByTimeAndStrictlyIncreasing)
{
    PushIdGenerator generator;
    const QString early = generator.next(1'000);
    QStringList sameMillisecond;
    for (int i = 0; i < 200; ++i)
        sameMillisecond << generator.next(1'700'000'000'000);
    const QString clockSetBack = generator.next(1'699'000'000'000);

    EXPECT_EQ(early.size(), 20);
    EXPECT_TRUE(early.startsWith("-----"))
        << early.toStdString(); // small times are leading "zeros"
    QStringList all = QStringList{early} + sameMillisecond + QStringList{clockSetBack};
    for (qsizetype i = 1; i < all.size(); ++i)
        ASSERT_LT(all[i - 1], all[i]) << i;
    const QString alphabet = "-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
    for (const QString &id : all)
        for (QChar c : id)
            ASSERT_TRUE(alphabet.contains(c)) << id.toStdString();
    // Another client's ids of a later millisecond sort after all of them.
    EXPECT_LT(clockSetBack, PushIdGenerator().next(1'700'000'000'001));
}

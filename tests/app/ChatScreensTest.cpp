// The chat list's rules, headless, against a real server with the database rules on.

#include "Module/Chat/ChatList/ChatListVC.h"
#include "Module/Chat/ChatVc/ChatViewController.h"

#include "TestSupport.h"

#include <QAbstractItemModelTester>

#include <gtest/gtest.h>

namespace {

QVariantMap entry(const QString &partner, qint64 timeStamp, const QString &text, int unread)
{
    return {{"_id", partner},
            {"last_message", text},
            {"message_type", "text"},
            {"timeStamp", timeStamp},
            {"unReadMessageCount", unread},
            {"receiverReadStatus", false},
            {"age", "34"},
            {"distance", "1.2"},
            {"favourite", "0"}};
}

} // namespace

using ChatScreens = EnglishLiveBackend;

TEST_F(ChatScreens, TheListIsNewestFirstMovesOneRowPerMessageAndMarksWhatPartnersHide)
{
    const Person bea = signUpPerson("Bea");
    const Person cleo = signUpPerson("Cleo");
    const Person ada = signUpPerson("Ada"); // signed in from here on
    writeAs(bea.token, "Users/" + bea.id, QVariantMap{{"id", bea.id}, {"name", "Bea"}});
    writeAs(cleo.token, "Users/" + cleo.id,
            QVariantMap{{"id", cleo.id}, {"name", "Cleo"}, {"status", "Online"}});
    writeAs(cleo.token, "DataProtection/" + cleo.id,
            QVariantMap{{"img_status", "Nobody"}, {"lastseen_status", "Nobody"}});
    // Each partner writes its entry in Ada's list, as sending a message does.
    writeAs(bea.token, "RecentChatUserList/" + ada.id + "/" + bea.id,
            entry(bea.id, 1'795'000'000'000, "Hallo Ada", 2));
    writeAs(cleo.token, "RecentChatUserList/" + ada.id + "/" + cleo.id,
            entry(cleo.id, 1'795'000'100'000, "Gassi morgen?", 0));

    ChatListVC list;
    QAbstractItemModelTester tester(list.chats(),
                                    QAbstractItemModelTester::FailureReportingMode::Fatal);
    int resets = 0;
    QObject::connect(list.chats(), &QAbstractItemModel::modelReset, [&] { ++resets; });
    list.loadViewIfNeeded();
    list.beginAppearance();
    list.endAppearance();
    ASSERT_TRUE(waitUntil([&] {
        return column(*list.chats(), ChatListModel::NameRole) == QStringList{"Cleo", "Bea"};
    })) << column(*list.chats(), ChatListModel::NameRole).join(", ").toStdString();
    EXPECT_EQ(column(*list.chats(), ChatListModel::UnreadRole), (QStringList{"0", "2"}));
    EXPECT_EQ(column(*list.chats(), ChatListModel::DetailsRole),
              (QStringList{"34 years, 1.2 km", "34 years, 1.2 km"}));
    // Cleo hides her presence and picture from everybody.
    ASSERT_TRUE(waitUntil([&] {
        return !list.chats()->index(0).data(ChatListModel::OnlineRole).toBool() &&
               list.chats()->index(0).data(ChatListModel::PictureRole).toString().isEmpty();
    }));

    // A new message from Bea: her row moves up, and only hers changes.
    int moves = 0;
    QObject::connect(list.chats(), &QAbstractItemModel::rowsMoved, [&] { ++moves; });
    writeAs(bea.token, "RecentChatUserList/" + ada.id + "/" + bea.id,
            entry(bea.id, 1'795'000'200'000, "Bist du da?", 3));
    ASSERT_TRUE(waitUntil([&] {
        return column(*list.chats(), ChatListModel::NameRole) == QStringList{"Bea", "Cleo"};
    }));
    EXPECT_EQ(column(*list.chats(), ChatListModel::LastMessageRole).value(0), "Bist du da?");
    EXPECT_EQ(moves, 1);
    EXPECT_EQ(resets, 0);

    // A partner who deleted the account says so.
    writeAs(bea.token, "Users/" + bea.id + "/activate_status", "Deactivate");
    ChatListVC again;
    again.loadViewIfNeeded();
    ASSERT_TRUE(waitUntil([&] {
        return again.chats()->count() == 2 &&
               again.chats()->index(0).data(ChatListModel::DeactivatedRole).toBool();
    }));
    EXPECT_EQ(again.chats()->index(0).data(ChatListModel::LastMessageRole),
              "Account doesn't Exist");
}

TEST_F(ChatScreens, AConversationSendsAndShowsPresenceAsThePartnerAllows)
{
    const Person bea = signUpPerson("Bea");
    const Person ada = signUpPerson("Ada"); // signed in from here on
    ASSERT_TRUE(waitUntil(
        [&] { return storedValue(appDatabase_->client(), "Notifications/" + ada.id).isValid(); },
        10000));
    writeAs(bea.token, "Users/" + bea.id,
            QVariantMap{{"id", bea.id}, {"name", "Bea \\ud83d\\udc36"}, {"status", "Online"}});

    ChatViewController chat;
    chat.setPartnerId(bea.id);
    chat.setProperty("partnerAge", "34");
    chat.setProperty("partnerDistance", "1.2");
    QAbstractItemModelTester tester(chat.messages(),
                                    QAbstractItemModelTester::FailureReportingMode::Fatal);
    chat.loadViewIfNeeded();
    chat.beginAppearance();
    chat.endAppearance();
    EXPECT_EQ(chat.headerDetails(), "34, 1.2 km away");
    ASSERT_TRUE(waitUntil([&] { return chat.presenceText() == "Online"; }))
        << chat.presenceText().toStdString();
    EXPECT_EQ(chat.partnerName(), QStringLiteral("Bea \U0001F436")) << "emoji decoded";

    EXPECT_FALSE(chat.sendMessageAction("   ")) << "an empty input sends nothing";
    EXPECT_TRUE(chat.sendMessageAction("Hallo Bea"));
    ASSERT_TRUE(waitUntil([&] { return chat.messages()->count() == 1; }));
    EXPECT_TRUE(chat.messages()->index(0).data(MessageListModel::MineRole).toBool());
    EXPECT_EQ(chat.messages()->index(0).data(MessageListModel::TextRole), "Hallo Bea");
    // Bea's list now holds Ada with one unread message; Ada's own entry counts none.
    ASSERT_TRUE(waitUntil([&] {
        return storedValue(appDatabase_->client(),
                           "RecentChatUserList/" + bea.id + "/" + ada.id + "/unReadMessageCount")
                   .toInt() == 1;
    }));

    // Bea goes offline and hides her last visit: the header shows neither.
    writeAs(bea.token, "DataProtection/" + bea.id,
            QVariantMap{{"img_status", "Anybody"}, {"lastseen_status", "Nobody"}});
    writeAs(bea.token, "Users/" + bea.id + "/status", "Offline");
    EXPECT_TRUE(waitUntil([&] { return chat.presenceText().isEmpty(); }))
        << chat.presenceText().toStdString();
}

#pragma once

#include <QString>

// Fixed English messages of the task, event and friend features. They are shown as they stand,
// without the language lookup, and their wording is kept exactly as the app has always had it.
struct Strings
{
    QString reminderInterval = QStringLiteral("Please select the reminder time!");
    QString selectReminderDate = QStringLiteral("Please select the reminder date & time!");
    QString selectDueDate = QStringLiteral("Choose a due date and time");
    QString chooseTaskTitle = QStringLiteral("Choose title for task");
    QString taskTutorial =
        QStringLiteral("Tap an icons below to assign task, set a due date, and set reminder.");
    QString eventTutorial = QStringLiteral("Tap an icons below to make the changes.");
    QString eventImageTutorial = QStringLiteral("You can search gifs.");
    QString taskTitleAlert = QStringLiteral("Please enter task title");
    QString taskImageAlert = QStringLiteral("Please select task image");
    QString evenTitleAlert = QStringLiteral("Please enter event title");
    QString cancelRequest = QStringLiteral("Cancel friend request");
    QString sendRequest = QStringLiteral("Send friend request");
    QString adddFriend = QStringLiteral("Add friend");
    QString unfriend = QStringLiteral("Unfriend");
    QString accept = QStringLiteral("Accept");
};

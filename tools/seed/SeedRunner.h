#pragma once

#include "AvatarPainter.h"
#include "DemoPeople.h"
#include "StackClient.h"

#include <QJsonObject>
#include <QMap>
#include <QUrl>

#include <optional>

// Brings the first `count` demo people into a running stack, through the same endpoints the
// app uses and with each person's own session, and leaves alone whoever is already there.
class SeedRunner
{
public:
    // `uploads` is where the backend's pictures are downloaded from; the user mirror keeps
    // full picture addresses there.
    SeedRunner(StackClient &client, const DemoPeople &people, QUrl uploads);

    // The process's exit status: 0 when every account is in place.
    int run(int count);

private:
    struct Account
    {
        QString id;
        QString token;
        bool recordsWritten = false; // its realtime records were written by this run
    };
    // Why an account could not be brought into place; `lostStack` ends the whole run.
    struct Failure
    {
        QString reason;
        bool lostStack = false;
    };

    bool stackAnswers();
    std::optional<Account> bringIn(const DemoPerson &person);
    std::optional<Account> signIn(const DemoPerson &person, QJsonObject &user,
                                  bool &profileFinished);
    std::optional<Account> signUp(const DemoPerson &person);
    std::optional<QJsonObject> saveProfile(const DemoPerson &person, const Account &account);
    bool writeRecords(const DemoPerson &person, const Account &account, const QJsonObject &user);
    void markFavourites(int count);
    void signOut();
    // Notes the failure of a request made for `person`; false from then on.
    bool failed(const DemoPerson &person, const QString &step, const StackAnswer &answer);

    StackClient &client_;
    const DemoPeople &people_;
    AvatarPainter painter_;
    QUrl uploads_;
    QMap<int, Account> accounts_;
    std::optional<Failure> failure_;
    int failedPeople_ = 0;
};

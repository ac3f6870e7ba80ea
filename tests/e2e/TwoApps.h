#pragma once

// Two real apps, each in its own process with its own settings, on one real tailwise-server.
#include "AppProcess.h"
#include "TestSupport.h"

#include "LoginDefaults.h"

#include <QDir>
#include <QProcessEnvironment>

class TwoApps : public LiveBackend
{
protected:
    void SetUp() override
    {
        LiveBackend::SetUp();
        QDir().mkpath(outputDir());
    }

    static QString outputDir() { return QStringLiteral(TAILWISE_E2E_OUTPUT_DIR); }
    static QString png(const QString &name) { return outputDir() + '/' + name + ".png"; }

    // A finished account at that position, who wants chat pushes and shows presence to
    // anybody. The database records are written as that user.
    Person person(const QString &name, const QString &gender, double latitude, double longitude)
    {
        const Person made = signUpPerson(name, gender, latitude, longitude);
        writeAs(
            made.token, "Notifications/" + made.id,
            QVariantMap{
                {"noti_status", "online"}, {"message", "on"}, {"tone", "on"}, {"vibrate", "on"}});
        writeAs(made.token, "DataProtection/" + made.id,
                QVariantMap{{"img_status", "Anybody"}, {"lastseen_status", "Anybody"}});
        return made;
    }

    QProcessEnvironment appEnvironment(const QString &location) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("TAILWISE_BACKEND", server_.backendUrl());
        env.insert("TAILWISE_DATABASE", server_.databaseUrl());
        env.insert("TAILWISE_PUSH", server_.pushUrl());
        env.insert("TAILWISE_LOCATION", location);
        return env;
    }

    // Through the landing and sign-in screens, up to the tabs.
    static void signInThroughTheWindow(AppProcess &app, const QString &name)
    {
        ASSERT_TRUE(app.click("emailLoginButton")) << app.log().toStdString();
        ASSERT_TRUE(app.type("emailField", name.toLower() + "@example.com"));
        ASSERT_TRUE(app.type("passwordField", "pw-" + name));
        ASSERT_TRUE(app.click("signInButton"));
        ASSERT_TRUE(app.waitFor("tab0", "visible", true)) << app.log().toStdString();
    }

    // Anna (reading English) and Ben (German), about a kilometre apart, each signed in through
    // their own app; Anna finds Ben in the search and writes "Hallo" to him from his detail,
    // and her conversation stays open. Callers check HasFatalFailure().
    void annaWritesToBen(AppProcess &a, AppProcess &b)
    {
        anna_ = person("Anna", "female", 52.5200, 13.4050);
        ben_ = person("Ben", "male", 52.5290, 13.4050).id;
        // The test's own client reads as the last one signed up.
        ASSERT_EQ(LoginDefaults().userId(), ben_);

        ASSERT_TRUE(a.start(appEnvironment("52.5200,13.4050"))) << a.problem().toStdString();
        ASSERT_TRUE(b.start(appEnvironment("52.5290,13.4050"))) << b.problem().toStdString();
        ASSERT_TRUE(a.click("languageSwitch"));
        signInThroughTheWindow(a, "Anna");
        signInThroughTheWindow(b, "Ben");

        ASSERT_TRUE(a.waitFor("partnerRow_" + ben_, "visible", true)) << a.log().toStdString();
        ASSERT_TRUE(a.click("partnerRow_" + ben_));
        ASSERT_TRUE(a.click("chatButton"));
        ASSERT_TRUE(a.type("messageField", "Hallo"));
        ASSERT_TRUE(a.click("sendButton"));
        ASSERT_TRUE(a.waitFor("messageList", "count", 1));
    }

    static void send(AppProcess &app, const QString &text)
    {
        ASSERT_TRUE(app.type("messageField", text));
        ASSERT_TRUE(app.click("sendButton"));
    }

    QVariant stored(const QString &path) { return storedValue(appDatabase_->client(), path); }

    // The test's own client reads as Anna from now on, for when Ben's sessions have ended.
    void readAsAnna()
    {
        LoginDefaults session;
        session.setUserId(anna_.id);
        session.setUserToken(anna_.token);
    }

    Person anna_;
    QString ben_;
};

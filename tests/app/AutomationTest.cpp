// The automation channel against a small window, over a real loopback connection: what a
// driver may do, and what a confused or second driver cannot break.
#include "TestSupport.h"

#include "Platform/UI/Automation.h"

#include <QImage>
#include <QJsonDocument>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QTcpSocket>

namespace {

const QByteArray form = R"(
import QtQuick
import QtQuick.Controls
ApplicationWindow {
    width: 200; height: 200; visible: true
    Column {
        TextField { objectName: "field"; width: 180 }
        Button { objectName: "button"; property int taps: 0; text: "tap"; onClicked: taps++ }
        Label { objectName: "hidden"; visible: false; text: "not on screen" }
    }
})";

class Driver
{
public:
    explicit Driver(quint16 port)
    {
        socket_.connectToHost(QHostAddress::LocalHost, port);
        socket_.waitForConnected(5000);
    }
    QJsonObject send(const QByteArray &line)
    {
        socket_.write(line + '\n');
        return next();
    }
    QJsonObject next()
    {
        if (!waitUntil([this] { return socket_.canReadLine(); }, 10000))
            return {{"error", "<no answer>"}};
        return QJsonDocument::fromJson(socket_.readLine()).object();
    }
    bool closed()
    {
        return waitUntil([this] { return socket_.state() == QAbstractSocket::UnconnectedState; });
    }
    QTcpSocket socket_;
};

class AutomationChannel : public ::testing::Test
{
protected:
    void SetUp() override
    {
        engine_.loadData(form);
        ASSERT_FALSE(engine_.rootObjects().isEmpty());
        window_ = qobject_cast<QQuickWindow *>(engine_.rootObjects().first());
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window_));
        automation_ = std::make_unique<Automation>(window_);
        ASSERT_TRUE(automation_->listen(0));
    }

    QQmlApplicationEngine engine_;
    QQuickWindow *window_ = nullptr;
    std::unique_ptr<Automation> automation_;
};

TEST_F(AutomationChannel, ADriverTapsTypesReadsWaitsAndTakesPictures)
{
    Driver driver(automation_->port());
    EXPECT_EQ(driver.send(R"({"type": ["field", "Hallo"]})"), QJsonObject({{"ok", true}}));
    EXPECT_EQ(driver.send(R"({"property": ["field", "text"]})"),
              QJsonObject({{"ok", true}, {"value", "Hallo"}}));
    EXPECT_EQ(driver.send(R"({"click": "button"})"), QJsonObject({{"ok", true}}));
    EXPECT_EQ(driver.send(R"({"wait": ["button", "taps", 1, 2000]})"),
              QJsonObject({{"ok", true}, {"value", 1}}));
    // A wait that is never met answers at its time with what it last saw.
    EXPECT_EQ(driver.send(R"({"wait": ["button", "taps", 5, 100]})"),
              QJsonObject({{"ok", false}, {"value", 1}}));
    // Only what is on screen answers.
    EXPECT_FALSE(driver.send(R"({"property": ["hidden", "text"]})").value("ok").toBool());
    EXPECT_FALSE(driver.send(R"({"property": ["button", "noSuchProperty"]})").value("ok").toBool());

    QTemporaryDir pictures;
    const QString path = pictures.filePath("window.png");
    EXPECT_EQ(driver.send(
                  QJsonDocument(QJsonObject{{"screenshot", path}}).toJson(QJsonDocument::Compact)),
              QJsonObject({{"ok", true}}));
    EXPECT_EQ(QImage(path).width(), window_->width() * window_->devicePixelRatio());
}

TEST_F(AutomationChannel, NonsenseIsAnsweredAndOnlyOneDriverIsServed)
{
    Driver driver(automation_->port());
    for (const QByteArray &line :
         {QByteArray("not json"), QByteArray("[1, 2]"), QByteArray(R"({"click": 7})"),
          QByteArray(R"({"click": "button", "type": ["field", "x"]})"),
          QByteArray(R"({"wait": ["button", "taps", 1, 1e12]})"), QByteArray(R"({"quit": 1})")})
        EXPECT_TRUE(driver.send(line).contains("error")) << line.toStdString();

    // A second driver is told so and sent away; the first is still served.
    Driver second(automation_->port());
    EXPECT_TRUE(second.next().contains("error"));
    EXPECT_TRUE(second.closed());
    EXPECT_EQ(driver.send(R"({"property": ["button", "taps"]})").value("value"), 0);

    // A line that never ends is cut off at its limit, with the connection.
    driver.socket_.write(QByteArray(Automation::maximumLineBytes + 1, 'x'));
    EXPECT_TRUE(driver.next().contains("error"));
    EXPECT_TRUE(driver.closed());
    Driver next(automation_->port());
    EXPECT_EQ(next.send(R"({"property": ["button", "taps"]})").value("ok"), true);
}

TEST(AutomationSwitch, IsOffUnlessThePortVariableNamesAPort)
{
    QQuickWindow window;
    ASSERT_FALSE(qEnvironmentVariableIsSet("TAILWISE_AUTOMATION_PORT"));
    EXPECT_EQ(Automation::fromEnvironment(&window), nullptr);
    for (const char *text : {"", "http", "70000", "-1"}) {
        ScopedEnvironment port("TAILWISE_AUTOMATION_PORT", text);
        EXPECT_EQ(Automation::fromEnvironment(&window), nullptr) << text;
    }
    ScopedEnvironment port("TAILWISE_AUTOMATION_PORT", "0");
    const std::unique_ptr<Automation> automation = Automation::fromEnvironment(&window);
    ASSERT_NE(automation, nullptr);
    EXPECT_NE(automation->port(), 0);
}

} // namespace

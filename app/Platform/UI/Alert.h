#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

#include <functional>

// A modal message with buttons, as the phone's alert controller shows it. The window shows the
// alert that a screen presented; tests read its texts and trigger its actions directly.
class Alert : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Screens present alerts")
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString message READ message CONSTANT)
    Q_PROPERTY(QStringList actionTitles READ actionTitles NOTIFY actionsChanged)

public:
    enum class ActionStyle
    {
        Default,
        Cancel,
        Destructive
    };
    Q_ENUM(ActionStyle)

    Alert(QString title, QString message, QObject *parent = nullptr);

    QString title() const { return title_; }
    QString message() const { return message_; }
    QStringList actionTitles() const;
    Q_INVOKABLE int actionStyle(int index) const;

    void addAction(const QString &title, ActionStyle style = ActionStyle::Default,
                   std::function<void()> handler = {});

    // The button at `index` was pressed: the alert closes, then the action's handler runs.
    Q_INVOKABLE void trigger(int index);

Q_SIGNALS:
    void actionsChanged();
    // The alert is gone from the screen (an action was triggered).
    void dismissed();

private:
    struct Action
    {
        QString title;
        ActionStyle style;
        std::function<void()> handler;
    };

    QString title_;
    QString message_;
    QList<Action> actions_;
    bool done_ = false;
};

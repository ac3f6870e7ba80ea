#include "Platform/UI/Alert.h"

Alert::Alert(QString title, QString message, QObject *parent)
    : QObject(parent), title_(std::move(title)), message_(std::move(message))
{}

QStringList Alert::actionTitles() const
{
    QStringList titles;
    for (const Action &action : actions_)
        titles << action.title;
    return titles;
}

int Alert::actionStyle(int index) const
{
    if (index < 0 || index >= actions_.size())
        return static_cast<int>(ActionStyle::Default);
    return static_cast<int>(actions_[index].style);
}

void Alert::addAction(const QString &title, ActionStyle style, std::function<void()> handler)
{
    actions_.append({title, style, std::move(handler)});
    Q_EMIT
    actionsChanged();
}

void Alert::trigger(int index)
{
    // A double tap on a closing dialog must not run a second action.
    if (done_ || index < 0 || index >= actions_.size())
        return;
    done_ = true;
    const std::function<void()> handler = actions_[index].handler;
    Q_EMIT
    dismissed();
    if (handler)
        handler();
}

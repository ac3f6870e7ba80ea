#include "Platform/ApplicationState.h"

#include <QGuiApplication>

ApplicationState::ApplicationState()
{
    if (qGuiApp)
        connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, [this] {
            if (!reported_)
                Q_EMIT
            stateChanged(state());
        });
}

ApplicationState &ApplicationState::shared()
{
    static ApplicationState instance;
    return instance;
}

Qt::ApplicationState ApplicationState::state() const
{
    return reported_.value_or(QGuiApplication::applicationState());
}

void ApplicationState::setReportedState(std::optional<Qt::ApplicationState> state)
{
    const Qt::ApplicationState before = this->state();
    reported_ = state;
    if (this->state() != before)
        Q_EMIT
    stateChanged(this->state());
}

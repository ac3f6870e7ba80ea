#pragma once

#include <QObject>

#include <optional>

// Whether the application is active, as the phone's application object says: Qt's application
// state, which the platform sets (on a desktop: whether a window of the app has the focus).
// Something standing in for the platform, such as a test, may report a state of its own.
class ApplicationState : public QObject
{
    Q_OBJECT

public:
    static ApplicationState &shared();

    Qt::ApplicationState state() const;
    bool isActive() const { return state() == Qt::ApplicationActive; }
    // Reports `state` instead of the platform's, until set back with none.
    void setReportedState(std::optional<Qt::ApplicationState> state);

Q_SIGNALS:
    void stateChanged(Qt::ApplicationState state);

private:
    ApplicationState();

    std::optional<Qt::ApplicationState> reported_;
};

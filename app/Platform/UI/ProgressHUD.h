#pragma once

#include "Deployment.h"
#include "Platform/UI/DispatchQueue.h"
#include "Platform/UI/Lifetime.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <type_traits>
#include <utility>

class ViewController;
class Window;

// The progress indicator over the whole window while something is being waited for; it takes
// every touch. It belongs to the screen that showed it, so a screen that goes away takes its
// indicator with it: no indicator outlives the wait that raised it.
class ProgressHUD : public QObject
{
    Q_OBJECT

public:
    // Shown at once over the key window, owned by `owner`.
    static ProgressHUD *showHUDAddedTo(QObject *owner, bool animated = true);
    ~ProgressHUD() override;

    bool isShown() const { return shown_; }
    // Idempotent; the indicator is destroyed afterwards.
    void hide(bool animated = true);

private:
    explicit ProgressHUD(QObject *owner);

    QPointer<Window> window_;
    bool shown_ = true;
};

// The shape of every wait a screen makes: the indicator goes up now, and when the answer comes
// (on whatever queue) `handler` runs on the main queue with its arguments, once the indicator
// is down. Nothing runs when `owner` is gone by then; its indicator went with it.
//
// Some calls never answer a failed request; their indicator comes down once the request layer
// has given up on it (its timeout and a second more), so it never stays up for good.
template <typename Handler>
auto showingProgress(QObject *owner, Handler handler)
{
    QPointer<ProgressHUD> hud = ProgressHUD::showHUDAddedTo(owner);
    QTimer::singleShot(Deployment::requestTimeout() + std::chrono::seconds(1), hud.data(),
                       [hud] { hud->hide(true); });
    return whileAlive(owner, [owner, hud, handler = std::move(handler)](auto &&...arguments) {
        DispatchQueue::main().async(
            [hud, handler,
             ... values = std::decay_t<decltype(arguments)>(
                 std::forward<decltype(arguments)>(arguments))]() mutable {
                if (hud)
                    hud->hide(true);
                handler(values...);
            },
            owner);
    });
}

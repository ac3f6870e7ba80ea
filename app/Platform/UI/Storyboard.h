#pragma once

#include <QHash>
#include <QString>

#include <functional>
#include <memory>

class ViewController;

// A named set of screens, each made by identifier, one of them the initial screen. The app
// defines its storyboards at start-up with factories that hand each controller the app's
// services; a test defines its own through ScopedStoryboards. Asking for a storyboard or an
// identifier that was never defined is a programming error and stops the app, as the phone
// does.
class Storyboard
{
public:
    using Factory = std::function<ViewController *()>;
    struct Definition
    {
        QString initialIdentifier;
        QHash<QString, Factory> scenes;
    };
    using Catalogue = QHash<QString, Definition>;

    explicit Storyboard(const QString &name);

    QString name() const { return name_; }
    // New controllers, owned by the caller.
    ViewController *instantiateInitialViewController() const;
    ViewController *instantiateViewController(const QString &withIdentifier) const;

    // The storyboards in force; replacing them returns the previous ones.
    static Catalogue install(Catalogue catalogue);

private:
    QString name_;
    std::shared_ptr<const Catalogue> catalogue_;
};

// Puts a set of storyboards in force for a scope and restores the previous set afterwards.
class ScopedStoryboards
{
public:
    explicit ScopedStoryboards(Storyboard::Catalogue catalogue);
    ~ScopedStoryboards();
    ScopedStoryboards(const ScopedStoryboards &) = delete;
    ScopedStoryboards &operator=(const ScopedStoryboards &) = delete;

private:
    Storyboard::Catalogue previous_;
};

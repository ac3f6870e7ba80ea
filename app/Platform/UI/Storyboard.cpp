#include "Platform/UI/Storyboard.h"

#include "Platform/Print.h"
#include "Platform/UI/ViewController.h"

namespace {
std::shared_ptr<const Storyboard::Catalogue> &catalogueInForce()
{
    static auto catalogue = std::make_shared<const Storyboard::Catalogue>();
    return catalogue;
}
} // namespace

Storyboard::Storyboard(const QString &name) : name_(name), catalogue_(catalogueInForce())
{
    if (!catalogue_->contains(name))
        fatalError(QStringLiteral("Could not find a storyboard named '%1'").arg(name));
}

ViewController *Storyboard::instantiateInitialViewController() const
{
    return instantiateViewController(catalogue_->value(name_).initialIdentifier);
}

ViewController *Storyboard::instantiateViewController(const QString &withIdentifier) const
{
    const Definition &definition = *catalogue_->find(name_);
    const auto scene = definition.scenes.find(withIdentifier);
    if (scene == definition.scenes.end())
        fatalError(QStringLiteral("Storyboard (%1) doesn't contain a view controller with "
                                  "identifier '%2'")
                       .arg(name_, withIdentifier));
    ViewController *controller = (*scene)();
    if (controller->identifier().isEmpty())
        controller->setIdentifier(withIdentifier);
    return controller;
}

Storyboard::Catalogue Storyboard::install(Catalogue catalogue)
{
    Catalogue previous = *catalogueInForce();
    catalogueInForce() = std::make_shared<const Catalogue>(std::move(catalogue));
    return previous;
}

ScopedStoryboards::ScopedStoryboards(Storyboard::Catalogue catalogue)
    : previous_(Storyboard::install(std::move(catalogue)))
{}

ScopedStoryboards::~ScopedStoryboards()
{
    Storyboard::install(std::move(previous_));
}

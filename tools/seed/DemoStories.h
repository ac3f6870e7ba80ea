#pragma once

#include "DemoPeople.h"

#include <QRandomGenerator>

// Writes the German texts of a demo profile from a few dozen phrase fragments, so that no two
// profiles read alike and every one reads as if a person had typed it.
class DemoStories
{
public:
    explicit DemoStories(QRandomGenerator &random) : random_(random) {}

    QString aboutDogs(const QList<DemoDog> &dogs);
    QString aboutOwner(const DemoPerson &person);
    QString address();

private:
    QString dogIntroduction(const DemoDog &dog);
    QString pick(const QList<QString> &choices);

    QRandomGenerator &random_;
};

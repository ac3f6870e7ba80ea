#pragma once

#include <QString>

// How a partner's backend texts read in the interface language.

// "34 years" / "34 Jahre"; empty without an age.
QString ageText(const QString &age);
// The dogs in one line: "Bello · 2 dogs". `numberOfDogs` is the backend's text ("0" is one
// dog, "1" two, "2" three, "pack" a pack).
QString dogsText(const QString &numberOfDogs, const QString &dogName);
// Kilometres with one decimal in the language's number format: "1.2 km" / "1,2 km"; empty
// when the text is not a number.
QString distanceText(const QString &kilometres);

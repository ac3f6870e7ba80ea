#pragma once

#include "Platform/Print.h"

#include <QString>

// Stops the app because a value that must be there is not: text that is no date, no stored
// language. The wording is the one every such stop has always printed; `why` names the value.
[[noreturn]] inline void foundNil(const QString &why)
{
    fatalError(QStringLiteral("Unexpectedly found nil while unwrapping an Optional value (") + why +
               u')');
}

#pragma once

#include "Module/FindDog/PartnerListModel.h"

#include <QString>

#include <functional>

// Reads what `viewerId` may see of `partnerId`: the partner's picture and presence choices,
// whether the partner has marked the viewer (for "Only Favourite") and the presence itself.
// Answers once, when all four reads are in.
void readPartnerVisibility(const QString &partnerId, const QString &viewerId,
                           std::function<void(const PartnerVisibility &)> done);

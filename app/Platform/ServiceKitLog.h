#pragma once

#include <QString>
#include <QStringList>

// What the service-kit stand-ins did, in order, one line each: the kits have no desktop
// counterpart, so this is how the launch order can be seen and checked. Every entry is also
// printed.
class ServiceKitLog
{
public:
    static ServiceKitLog &shared();

    void add(const QString &entry);
    QStringList entries() const { return entries_; }
    void clear() { entries_.clear(); }

private:
    ServiceKitLog() = default;
    QStringList entries_;
};

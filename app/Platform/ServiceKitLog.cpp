#include "Platform/ServiceKitLog.h"

#include "Platform/Print.h"

ServiceKitLog &ServiceKitLog::shared()
{
    static ServiceKitLog instance;
    return instance;
}

void ServiceKitLog::add(const QString &entry)
{
    // The kits are configured at launch and on sign-in and sign-out: a handful of lines a
    // session, so the log keeps them all.
    entries_.append(entry);
    print(entry);
}

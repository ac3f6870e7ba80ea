#include "Module/Chat/Model/Connectivity.h"

#include "Platform/Reachability.h"

bool Connectivity::isConnectedToInternet()
{
    return Reachability::shared().isReachable();
}

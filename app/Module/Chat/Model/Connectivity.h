#pragma once

// Whether the app can talk to its services; screens ask before calling the backend or the
// database and show their own message when the answer is no.
class Connectivity
{
public:
    // Reachability::shared()'s answer: true until a check found the backend unreachable.
    static bool isConnectedToInternet();
};

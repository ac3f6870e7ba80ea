#pragma once

// How long a client waits before attempt number `attempt` (counted from 0) to reach a server
// again, in milliseconds: from a quarter second, doubling up to half a minute, with jitter so
// that many clients dropped together do not come back together.
int retryDelay(int attempt);

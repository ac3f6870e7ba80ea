#pragma once

#include "Sqlite.h"

namespace tailwise::backend {

// Brings the database to the newest schema this server knows, one version per transaction.
// Refuses a database written by a newer server.
int migrate(Connection &connection);

} // namespace tailwise::backend

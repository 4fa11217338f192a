#pragma once

#include <QString>

namespace bellwick {

// Writes one diagnostic line to standard output at once; never for tokens or passwords.
void diagnostic(const QString &line);

} // namespace bellwick

#include "diagnostics.h"

#include <cstdio>

namespace bellwick {

void diagnostic(const QString &line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

} // namespace bellwick

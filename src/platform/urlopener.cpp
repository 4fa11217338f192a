#include "urlopener.h"

#include "diagnostics.h"

#include <QDesktopServices>

namespace bellwick {

void DesktopUrlOpener::open(const QUrl &url)
{
    if (!QDesktopServices::openUrl(url)) {
        // Only the host: meeting links often carry a passcode.
        diagnostic(QStringLiteral("Could not open the meeting link on ") + url.host());
    }
}

} // namespace bellwick

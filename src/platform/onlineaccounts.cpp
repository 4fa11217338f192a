#include "onlineaccounts.h"

#include "diagnostics.h"

#include <QProcess>
#include <QStandardPaths>

namespace bellwick {

void openOnlineAccountsSettings()
{
    const std::pair<QString, QStringList> editors[] = {
        {QStringLiteral("gnome-control-center"), {QStringLiteral("online-accounts")}},
        {QStringLiteral("evolution"), {QStringLiteral("--component=calendar")}},
    };
    for (const auto &[program, arguments] : editors) {
        const QString path = QStandardPaths::findExecutable(program);
        if (!path.isEmpty() && QProcess::startDetached(path, arguments)) {
            return;
        }
    }
    diagnostic(QStringLiteral("Could not open the online accounts settings: neither gnome-control-center nor "
                              "evolution could be started"));
}

} // namespace bellwick

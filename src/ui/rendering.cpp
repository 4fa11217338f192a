#include "rendering.h"

#include <QQuickWindow>

namespace bellwick {

void chooseSceneGraphBackend()
{
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND") && qEnvironmentVariableIsEmpty("QSG_RHI_BACKEND")) {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    }
}

} // namespace bellwick

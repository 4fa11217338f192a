#pragma once

#include <QQuickImageProvider>

namespace bellwick {

// Serves image://icon/<name>[?tint=<colour>]: the theme's icon of that freedesktop name, else the bundled
// drawing, at the requested size; a tint recolours every opaque pixel (percent-encode a leading '#').
class IconProvider : public QQuickImageProvider
{
public:
    IconProvider();

    QPixmap requestPixmap(const QString &id, QSize *size, const QSize &requestedSize) override;
};

} // namespace bellwick

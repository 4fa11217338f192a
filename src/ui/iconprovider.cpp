#include "iconprovider.h"

#include <QIcon>
#include <QPainter>
#include <QSvgRenderer>
#include <QUrlQuery>

namespace bellwick {

namespace {

constexpr int defaultExtent = 32;

// Icons are square: a missing side follows the other.
QSize targetSize(const QSize &requested)
{
    const int width = requested.width() > 0 ? requested.width() : requested.height();
    const int height = requested.height() > 0 ? requested.height() : requested.width();
    return width > 0 ? QSize(width, height) : QSize(defaultExtent, defaultExtent);
}

QPixmap bundledIcon(const QString &name, const QSize &size)
{
    QSvgRenderer renderer(QStringLiteral(":/Bellwick/icons/%1.svg").arg(name));
    if (!renderer.isValid()) {
        return {};
    }
    QPixmap pixmap(size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    renderer.render(&painter);
    return pixmap;
}

} // namespace

// Pixmap providers are always asked on the GUI thread, which QIcon needs.
IconProvider::IconProvider() : QQuickImageProvider(QQmlImageProviderBase::Pixmap) { }

QPixmap IconProvider::requestPixmap(const QString &id, QSize *size, const QSize &requestedSize)
{
    const qsizetype queryStart = id.indexOf(u'?');
    const QString name = id.left(queryStart);
    const QColor tint = QColor::fromString(
        QUrlQuery(id.mid(queryStart + 1)).queryItemValue(QStringLiteral("tint"), QUrl::FullyDecoded));
    const QSize target = targetSize(requestedSize);

    QPixmap pixmap = QIcon::hasThemeIcon(name) ? QIcon::fromTheme(name).pixmap(target) : bundledIcon(name, target);
    if (!pixmap.isNull() && tint.isValid()) {
        QPainter painter(&pixmap);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), tint);
    }
    if (size) {
        *size = pixmap.size();
    }
    return pixmap;
}

} // namespace bellwick

#include "ui/shape/TypeSwatch.h"

#include "ui/design/Theme.h"

#include <QPainter>
#include <QPixmap>

namespace corvantis {

QIcon typeSwatch(const QString& colorName, int size) {
    QPixmap pixmap(size * 2, size * 2);
    pixmap.setDevicePixelRatio(2);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::paletteColor(colorName));
    painter.drawEllipse(QRectF(1, 1, size - 2, size - 2));
    return QIcon(pixmap);
}

} // namespace corvantis

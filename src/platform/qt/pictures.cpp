#include "platform/qt/pictures.h"

#include "platform/qt/screen.h"

#include <QHash>

#include <algorithm>
#include <cmath>

namespace
{

// The dialog unit's character for which the pictures were drawn.
constexpr double DRAWN_FOR_WIDTH = 8;
constexpr double DRAWN_FOR_HEIGHT = 14;

constexpr int ICON_SIZES[] = {16, 22, 24, 32, 48, 64, 128, 256};

double growth()
{
    return std::max(unit_character_width() / DRAWN_FOR_WIDTH,
                    unit_character_height() / DRAWN_FOR_HEIGHT);
}

QImage load(int id, const char *suffix)
{
    return QImage(QStringLiteral(":/pictures/%1%2.png").arg(id).arg(suffix));
}

QPixmap make_picture(int id, double ratio)
{
    const QImage plain = load(id, "");
    if (plain.isNull()) {
        return {};
    }
    const QSize size = (QSizeF(plain.size()) * growth() * ratio).toSize();
    QImage image = plain;
    if (size != plain.size()) {
        image = load(id, "@2x");
    }
    if (size != image.size()) {
        image = image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }
    QPixmap result = QPixmap::fromImage(image);
    result.setDevicePixelRatio(ratio);
    return result;
}

} // namespace

QPixmap picture(int id, double ratio)
{
    static QHash<QPair<int, int>, QPixmap> made;
    const QPair<int, int> key(id, static_cast<int>(std::lround(ratio * 1000)));
    const auto found = made.constFind(key);
    if (found != made.constEnd()) {
        return *found;
    }
    return *made.insert(key, make_picture(id, ratio));
}

QIcon icon(int id)
{
    QIcon result;
    for (const int size : ICON_SIZES) {
        const QString path = QStringLiteral(":/pictures/%1-%2.png").arg(id).arg(size);
        const QPixmap pixmap(path);
        if (!pixmap.isNull()) {
            result.addPixmap(pixmap);
        }
    }
    return result;
}

#include "map/thinlines.h"

#include <QImage>
#include <QPainter>

#include <cmath>
#include <cstdlib>

namespace {

// Liang-Barsky: clips the segment to [0, width - 1] x [0, height - 1]; false when none is left.
bool clip(double &x0, double &y0, double &x1, double &y1, double width, double height)
{
    double t0 = 0.0;
    double t1 = 1.0;
    const double dx = x1 - x0;
    const double dy = y1 - y0;
    const double p[] = {-dx, dx, -dy, dy};
    const double q[] = {x0, width - 1.0 - x0, y0, height - 1.0 - y0};
    for (int i = 0; i < 4; ++i) {
        if (p[i] == 0.0) {
            if (q[i] < 0.0)
                return false;
            continue;
        }
        const double t = q[i] / p[i];
        if (p[i] < 0.0)
            t0 = std::max(t0, t);
        else
            t1 = std::min(t1, t);
        if (t0 > t1)
            return false;
    }
    const double ox = x0;
    const double oy = y0;
    x0 = ox + t0 * dx;
    y0 = oy + t0 * dy;
    x1 = ox + t1 * dx;
    y1 = oy + t1 * dy;
    return true;
}

} // namespace

bool ThinLines::draw(QPainter *painter, const QVector<QLineF> &lines, const QColor &colour)
{
    QPaintDevice *device = painter->device();
    if (!device || device->devType() != QInternal::Image || colour.alpha() != 255 || painter->hasClipping() ||
        !painter->transform().isIdentity() || painter->compositionMode() != QPainter::CompositionMode_SourceOver)
        return false;
    auto *image = static_cast<QImage *>(device);
    if ((image->format() != QImage::Format_RGB32 && image->format() != QImage::Format_ARGB32_Premultiplied) ||
        image->devicePixelRatio() != 1.0)
        return false;

    const QRgb pixel = colour.rgba();
    const int width = image->width();
    const int height = image->height();
    uchar *bits = image->bits();
    const qsizetype stride = image->bytesPerLine();
    for (const QLineF &line : lines) {
        // Pixel centres sit at half coordinates, as in the raster engine.
        double x0 = line.x1() - 0.5;
        double y0 = line.y1() - 0.5;
        double x1 = line.x2() - 0.5;
        double y1 = line.y2() - 0.5;
        if (!clip(x0, y0, x1, y1, width, height))
            continue;
        int x = int(std::lround(x0));
        int y = int(std::lround(y0));
        const int xe = int(std::lround(x1));
        const int ye = int(std::lround(y1));
        const int dx = std::abs(xe - x);
        const int dy = -std::abs(ye - y);
        const int sx = x < xe ? 1 : -1;
        const int sy = y < ye ? 1 : -1;
        int error = dx + dy;
        for (;;) {
            reinterpret_cast<QRgb *>(bits + y * stride)[x] = pixel;
            if (x == xe && y == ye)
                break;
            const int e2 = 2 * error;
            if (e2 >= dy) {
                error += dy;
                x += sx;
            }
            if (e2 <= dx) {
                error += dx;
                y += sy;
            }
        }
    }
    return true;
}

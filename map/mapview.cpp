#include "map/mapview.h"

#include "map/gcj02.h"
#include "map/mercatorprojection.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// Equatorial circumference of the Web Mercator sphere, in nautical miles (40075016.686 m).
constexpr double kEquatorNm = 40075016.686 / 1852.0;

// Grid spacing of the datum shifts, as coarse as the error allows: interpolation misses the
// shift's short ripples (period a third of a degree, a few tens of metres) and, with wide
// spacing, some of its curvature; a pixel covers 130 m at zoom 10, twice that per level out.
double gridStepDeg(int zoom)
{
    return zoom <= 7 ? 1.0 : 1.0 / double(1 << std::min(zoom - 7, 24));
}

// Beyond this many nodes (very small scales) every point is converted exactly.
constexpr qsizetype kMaxGridNodes = 250000;

} // namespace

// Shifts at the nodes of a regular latitude/longitude grid, filled on demand.
class MapView::DatumGrid
{
public:
    DatumGrid(const GeoBounds &box, double step)
        : m_lat0(std::floor(box.minLat / step) * step), m_lon0(std::floor(box.minLon / step) * step), m_step(step),
          m_rows(int((box.maxLat - m_lat0) / step) + 2), m_columns(int((box.maxLon - m_lon0) / step) + 2)
    {
        if (qsizetype(m_rows) * m_columns <= kMaxGridNodes) {
            m_shift.resize(size_t(m_rows) * m_columns);
            m_state.assign(size_t(m_rows) * m_columns, kUnknown);
        }
    }

    // False when the point is off the grid or near the edge of the shifted area.
    bool shift(double lat, double lon, double &dLat, double &dLon)
    {
        if (m_state.empty())
            return false;
        const double fy = (lat - m_lat0) / m_step;
        const double fx = (lon - m_lon0) / m_step;
        const int row = int(std::floor(fy));
        const int column = int(std::floor(fx));
        if (row < 0 || column < 0 || row + 1 >= m_rows || column + 1 >= m_columns)
            return false;
        const QPointF *corner[4];
        for (int k = 0; k < 4; ++k) {
            corner[k] = node(row + k / 2, column + k % 2);
            if (!corner[k])
                return false;
        }
        const double ty = fy - row;
        const double tx = fx - column;
        const QPointF south = *corner[0] * (1.0 - tx) + *corner[1] * tx;
        const QPointF north = *corner[2] * (1.0 - tx) + *corner[3] * tx;
        const QPointF d = south * (1.0 - ty) + north * ty;
        dLat = d.x();
        dLon = d.y();
        return true;
    }

private:
    enum : unsigned char { kUnknown, kShifted, kOutside };

    const QPointF *node(int row, int column)
    {
        const size_t i = size_t(row) * m_columns + column;
        if (m_state[i] == kUnknown) {
            const double lat = m_lat0 + row * m_step;
            const double lon = m_lon0 + column * m_step;
            if (Gcj02::isOutOfChina(lat, lon)) {
                m_state[i] = kOutside;
            } else {
                double shiftedLat;
                double shiftedLon;
                Gcj02::wgs84ToGcj02(lat, lon, shiftedLat, shiftedLon);
                m_shift[i] = QPointF(shiftedLat - lat, shiftedLon - lon);
                m_state[i] = kShifted;
            }
        }
        return m_state[i] == kShifted ? &m_shift[i] : nullptr;
    }

    double m_lat0;
    double m_lon0;
    double m_step;
    int m_rows;
    int m_columns;
    std::vector<QPointF> m_shift;
    std::vector<unsigned char> m_state;
};

MapView::MapView(const QPointF &centreLatLon, int zoom, const QSize &size, bool datumShift)
    : m_centre(centreLatLon), m_zoom(zoom), m_size(size), m_datumShift(datumShift)
{
    m_originPx = MercatorProjection::latLonToPixel(m_centre, m_zoom) - QPointF(size.width(), size.height()) * 0.5;
}

QPointF MapView::shifted(double lat, double lon) const
{
    if (Gcj02::isOutOfChina(lat, lon))
        return QPointF(lat, lon);
    if (!m_grid) {
        // Around the area (its unshifted corners), with room for objects outside it: airways
        // and airspaces reach well beyond the view.
        const QPointF a = MercatorProjection::pixelToLatLon(m_originPx, m_zoom);
        const QPointF b =
            MercatorProjection::pixelToLatLon(m_originPx + QPointF(m_size.width(), m_size.height()), m_zoom);
        const double margin = std::max({0.5, std::abs(a.x() - b.x()), std::abs(a.y() - b.y())});
        const GeoBounds box =
            GeoBounds{std::min(a.x(), b.x()), std::min(a.y(), b.y()), std::max(a.x(), b.x()), std::max(a.y(), b.y())}
                .widened(margin);
        m_grid = std::make_shared<DatumGrid>(box, gridStepDeg(m_zoom));
    }
    double dLat;
    double dLon;
    if (m_grid->shift(lat, lon, dLat, dLon))
        return QPointF(lat + dLat, lon + dLon);
    double shiftedLat;
    double shiftedLon;
    Gcj02::wgs84ToGcj02(lat, lon, shiftedLat, shiftedLon);
    return QPointF(shiftedLat, shiftedLon);
}

QPointF MapView::geoToScreen(double lat, double lon) const
{
    if (m_datumShift)
        return MercatorProjection::latLonToPixel(shifted(lat, lon), m_zoom) - m_originPx;
    return MercatorProjection::latLonToPixel(lat, lon, m_zoom) - m_originPx;
}

QPointF MapView::screenToGeo(const QPointF &screen) const
{
    const QPointF latLon = MercatorProjection::pixelToLatLon(screen + m_originPx, m_zoom);
    if (!m_datumShift)
        return latLon;
    double lat;
    double lon;
    Gcj02::gcj02ToWgs84(latLon.x(), latLon.y(), lat, lon);
    return QPointF(lat, lon);
}

GeoBounds MapView::visibleBounds() const
{
    const QPointF topLeft = screenToGeo(QPointF(0, 0));
    const QPointF bottomRight = screenToGeo(QPointF(m_size.width(), m_size.height()));
    return {std::min(topLeft.x(), bottomRight.x()), std::min(topLeft.y(), bottomRight.y()),
            std::max(topLeft.x(), bottomRight.x()), std::max(topLeft.y(), bottomRight.y())};
}

double MapView::nmPerPixel(double lat) const
{
    const double latRad = MercatorProjection::clampLat(lat) * M_PI / 180.0;
    return kEquatorNm * std::cos(latRad) / MercatorProjection::mapSize(m_zoom);
}

QPointF MapView::moved(double lat, double lon, double bearingDeg, double distanceNm)
{
    const double b = bearingDeg * M_PI / 180.0;
    const double cosLat = std::max(0.01, std::cos(lat * M_PI / 180.0));
    return QPointF(lat + distanceNm / 60.0 * std::cos(b), lon + distanceNm / 60.0 * std::sin(b) / cosLat);
}

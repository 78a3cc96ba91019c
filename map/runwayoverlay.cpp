#include "map/runwayoverlay.h"

#include "map/labellayer.h"
#include "map/mapdatasource.h"
#include "map/mapformat.h"
#include "map/mappalette.h"

#include <QPainter>
#include <QtMath>

#include <cmath>

namespace {

constexpr double kFeetPerNm = 6076.12;
constexpr int kRunwayLabelPriority = 5;
constexpr int kIlsLabelPriority = 20;
// Airports are looked up a little beyond the view so that runways of an airport just outside
// still show their ends.
constexpr double kAirportMarginDeg = 0.1;

bool isReciprocalOf(const RunwayRecord &a, const RunwayRecord &b)
{
    const double diff = std::fmod(std::abs(a.heading - b.heading), 360.0);
    const QPointF end = RunwayOverlay::farEnd(b);
    return std::abs(diff - 180.0) < 3.0 && std::abs(end.x() - a.lat) < 0.002 && std::abs(end.y() - a.lon) < 0.002;
}

} // namespace

QPointF RunwayOverlay::farEnd(const RunwayRecord &runway)
{
    return MapView::moved(runway.lat, runway.lon, runway.heading, runway.length / kFeetPerNm);
}

void RunwayOverlay::paintLayer(QPainter *painter, const MapPaintContext &context)
{
    const MapPalette &palette = *context.palette;
    const double nmPerPx = context.view.nmPerPixel((context.bounds.minLat + context.bounds.maxLat) / 2.0);
    const QList<AirportRecord> airports = context.data->airports(context.bounds.widened(kAirportMarginDeg));
    painter->setRenderHint(QPainter::Antialiasing);
    for (const AirportRecord &airport : airports) {
        const QList<RunwayRecord> &runways = context.data->runways(airport.icao);
        for (int i = 0; i < runways.size(); ++i) {
            const RunwayRecord &r = runways.at(i);
            bool drawn = false;
            for (int j = 0; j < i && !drawn; ++j)
                drawn = isReciprocalOf(r, runways.at(j));
            const QPointF a = context.project(r.lat, r.lon);
            const QPointF end = farEnd(r);
            const QPointF b = context.project(end.x(), end.y());
            const QLineF line(a, b);
            if (!drawn) {
                if (line.length() < 3.0 ||
                    !context.screenRect.intersects(QRectF(a, b).normalized().adjusted(-4, -4, 4, 4)))
                    continue;
                // Real width, but never thinner than a readable bar.
                const double widthPx = std::max(context.zoom >= 10 ? 4.0 : 2.5, r.width / kFeetPerNm / nmPerPx);
                painter->setPen(QPen(palette.runway, widthPx, Qt::SolidLine, Qt::FlatCap));
                painter->drawLine(line);
                // Labels keep off the pavement.
                for (double t = 0.0; t <= line.length(); t += 8.0) {
                    const QPointF p = line.pointAt(t / line.length());
                    context.labels->reserve(QRectF(p.x() - widthPx / 2, p.y() - widthPx / 2, widthPx, widthPx));
                }
                if (widthPx >= 6.0) {
                    QPen centre(palette.runwayEdge, std::max(1.0, widthPx / 14.0), Qt::DashLine, Qt::FlatCap);
                    painter->setPen(centre);
                    painter->drawLine(line);
                }
            }
            if (context.zoom >= 12 && line.length() >= 40.0) {
                // The designator sits just before its threshold, outside the pavement.
                const QPointF outward = a - (b - a) / line.length() * 16.0;
                context.labels->addCentred(kRunwayLabelPriority, outward, LabelCache::Role::Runway, palette.runway,
                                           r.ident);
            }
        }
    }
}

void IlsOverlay::paintLayer(QPainter *painter, const MapPaintContext &context)
{
    const MapPalette &palette = *context.palette;
    const GeoBounds box = context.bounds.widened(IlsOverlay::kFeatherLengthNm / 60.0 * 1.5);
    const QList<AirportRecord> airports = context.data->airports(box);
    // Localizers of the area, by airport: a runway whose record has no ILS frequency gets one
    // when a localizer stands beyond its far end.
    QHash<QString, QList<NavaidRecord>> localizers;
    for (const NavaidRecord &n : context.data->navaids(box)) {
        const QString t = n.type.toUpper();
        if (!n.airportIcao.isEmpty() && MapFormat::isIlsComponent(t) && t != QLatin1String("GS") &&
            !t.contains(QLatin1String("DME")) && !t.contains(QLatin1String("MARKER")) && t.size() > 2)
            localizers[n.airportIcao].append(n);
    }

    painter->setRenderHint(QPainter::Antialiasing);
    QColor shade = palette.ils;
    shade.setAlpha(palette.dark ? 110 : 90);
    for (const AirportRecord &airport : airports) {
        const QList<RunwayRecord> &runways = context.data->runways(airport.icao);
        const QList<NavaidRecord> locs = localizers.value(airport.icao);
        for (const RunwayRecord &r : runways) {
            QString ident = r.ilsIdent;
            double freqMhz = r.ilsFreq;
            if (freqMhz <= 0.0) {
                const QPointF end = RunwayOverlay::farEnd(r);
                for (const NavaidRecord &loc : locs) {
                    // Within about 1.5 km of the far end, on the runway's side of the field.
                    if (std::abs(loc.lat - end.x()) < 0.015 && std::abs(loc.lon - end.y()) < 0.015) {
                        ident = loc.ident;
                        freqMhz = loc.freq >= 1000.0 ? loc.freq / 100.0 : loc.freq;
                        break;
                    }
                }
            }
            if (freqMhz <= 0.0)
                continue;
            const double outbound = std::fmod(r.heading + 180.0, 360.0);
            const QPointF threshold = context.project(r.lat, r.lon);
            const QPointF tipGeo = MapView::moved(r.lat, r.lon, outbound, kFeatherLengthNm);
            const QPointF leftGeo = MapView::moved(r.lat, r.lon, outbound - 2.5, kFeatherLengthNm * 0.92);
            const QPointF rightGeo = MapView::moved(r.lat, r.lon, outbound + 2.5, kFeatherLengthNm * 0.92);
            const QPointF tip = context.project(tipGeo.x(), tipGeo.y());
            const QPointF left = context.project(leftGeo.x(), leftGeo.y());
            const QPointF right = context.project(rightGeo.x(), rightGeo.y());
            const QRectF extent = QPolygonF({threshold, left, tip, right}).boundingRect();
            if (!context.screenRect.intersects(extent.adjusted(-2, -2, 2, 2)))
                continue;
            painter->setPen(Qt::NoPen);
            painter->setBrush(shade);
            painter->drawPolygon(QPolygonF({threshold, right, tip}));
            painter->setBrush(Qt::NoBrush);
            painter->setPen(QPen(palette.ils, 1.3));
            painter->drawPolygon(QPolygonF({threshold, left, tip, right}));
            painter->drawLine(threshold, tip);
            if (context.zoom >= 10) {
                QString text = QStringLiteral("%1").arg(freqMhz, 0, 'f', 2);
                if (!ident.isEmpty())
                    text = ident + QLatin1Char(' ') + text;
                context.labels->addCentred(kIlsLabelPriority, tip + (tip - threshold) * 0.06, LabelCache::Role::Fix,
                                           palette.ils, text);
            }
        }
    }
}

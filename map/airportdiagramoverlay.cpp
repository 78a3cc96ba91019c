#include "map/airportdiagramoverlay.h"

#include "map/labellayer.h"
#include "map/mapdatasource.h"
#include "map/mappalette.h"
#include "nav/navdataprovider.h"

#include <QPainter>

namespace {

// Taxiways are drawn about 20 m wide.
constexpr double kTaxiwayWidthNm = 20.0 / 1852.0;
constexpr double kAirportMarginDeg = 0.05;
constexpr int kTaxiwayLabelPriority = 15;
constexpr int kParkingLabelPriority = 25;

} // namespace

void AirportDiagramOverlay::paintLayer(QPainter *painter, const MapPaintContext &context)
{
    NavDataProvider *provider = context.data->provider();
    const IAirportDiagramSource *diagrams = provider->diagramSource();
    const MapPalette &palette = *context.palette;
    const double nmPerPx = context.view.nmPerPixel((context.bounds.minLat + context.bounds.maxLat) / 2.0);
    const double widthPx = std::max(2.0, kTaxiwayWidthNm / nmPerPx);
    painter->setRenderHint(QPainter::Antialiasing);

    for (const AirportRecord &airport : context.data->airports(context.bounds.widened(kAirportMarginDeg))) {
        // A layout that is not in memory yet is asked for after the frame.
        if (diagrams && !diagrams->hasAirportDiagram(airport.icao)) {
            if (context.diagramsWanted)
                context.diagramsWanted->insert(airport.icao);
            continue;
        }
        const QMap<int, TaxiwayNode> nodes = provider->taxiwayNodes(airport.icao);
        if (nodes.isEmpty())
            continue;
        QColor pavement = palette.taxiway;
        pavement.setAlpha(170);
        painter->setPen(QPen(pavement, widthPx, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        QHash<QString, QPointF> namedAt; // one label per taxiway name, at its longest edge
        QHash<QString, double> namedLength;
        for (const TaxiwayEdge &edge : provider->taxiwayEdges(airport.icao)) {
            const auto from = nodes.constFind(edge.fromNodeId);
            const auto to = nodes.constFind(edge.toNodeId);
            if (from == nodes.constEnd() || to == nodes.constEnd())
                continue;
            const QLineF line(context.project(from->lat, from->lon), context.project(to->lat, to->lon));
            if (!context.screenRect.intersects(QRectF(line.p1(), line.p2()).normalized().adjusted(-8, -8, 8, 8)))
                continue;
            painter->drawLine(line);
            if (!edge.taxiwayName.isEmpty() && line.length() > namedLength.value(edge.taxiwayName, 30.0)) {
                namedLength.insert(edge.taxiwayName, line.length());
                namedAt.insert(edge.taxiwayName, line.center());
            }
        }
        for (auto it = namedAt.cbegin(); it != namedAt.cend(); ++it)
            context.labels->addCentred(kTaxiwayLabelPriority, it.value(), LabelCache::Role::Taxiway, palette.taxiway,
                                       it.key());

        if (context.zoom < 16)
            continue;
        painter->setPen(QPen(palette.parking, 1.2));
        painter->setBrush(Qt::NoBrush);
        for (const ParkingRecord &parking : provider->parkings(airport.icao)) {
            const QPointF pos = context.project(parking.lat, parking.lon);
            if (!context.screenRect.contains(pos))
                continue;
            painter->drawEllipse(pos, 3.5, 3.5);
            if (!parking.name.isEmpty())
                context.labels->add(kParkingLabelPriority, pos, 3.5, LabelCache::Role::Parking, palette.parking,
                                    parking.name);
        }
    }
}

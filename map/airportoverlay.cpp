#include "map/airportoverlay.h"

#include "map/labellayer.h"
#include "map/mapdatasource.h"
#include "map/mapformat.h"
#include "map/mappalette.h"
#include "map/mapsymbols.h"

#include <QPainter>

#include <algorithm>

namespace {

constexpr int kLabelPriority = 0;
constexpr int kLabelledUpToZoom7 = 60;
constexpr int kLabelledAtZoom8 = 150;

int symbolSizeFor(int zoom)
{
    if (zoom < 6)
        return 16;
    if (zoom < 9)
        return 20;
    return 24;
}

} // namespace

void AirportOverlay::paintLayer(QPainter *painter, const MapPaintContext &context)
{
    QList<AirportRecord> airports = context.data->airports(context.bounds);
    // The most important first; the identifier breaks ties so the choice does not flicker.
    std::vector<std::pair<double, int>> ranked;
    ranked.reserve(airports.size());
    for (int i = 0; i < airports.size(); ++i)
        ranked.emplace_back(MapFormat::airportImportance(airports.at(i)), i);
    const int cap = std::min(int(ranked.size()), capForZoom(context.zoom));
    std::partial_sort(ranked.begin(), ranked.begin() + cap, ranked.end(), [&airports](const auto &a, const auto &b) {
        if (a.first != b.first)
            return a.first > b.first;
        return airports.at(a.second).icao < airports.at(b.second).icao;
    });
    // At small scales only the leading airports are named.
    const int labelled = context.zoom <= 7 ? kLabelledUpToZoom7 : (context.zoom == 8 ? kLabelledAtZoom8 : cap);

    const MapPalette &palette = *context.palette;
    const bool runwaysToScale =
        context.zoom >= 12 && (!context.layerVisible || context.layerVisible(QStringLiteral("runways")));
    const int size = symbolSizeFor(context.zoom);
    const QRectF cull = context.screenRect.adjusted(-size, -size, size, size);
    for (int rank = 0; rank < cap; ++rank) {
        const AirportRecord &airport = airports.at(ranked[size_t(rank)].second);
        const QPointF pos = context.project(airport.lat, airport.lon);
        if (!cull.contains(pos))
            continue;
        const QColor &colour = airport.hasTower ? palette.airportTowered : palette.airportUntowered;
        double radius = size / 2.0;
        if (!runwaysToScale) {
            const double heading = context.zoom >= 8 ? context.data->mainRunwayHeading(airport.icao) : -1.0;
            const QPixmap &symbol = context.symbols->airport(colour, airport.isHardSurface, heading, size);
            MapSymbols::draw(painter, pos, symbol);
            context.labels->reserve(QRectF(pos.x() - radius + 3, pos.y() - radius + 3, size - 6, size - 6));
        } else {
            radius = 4.0;
        }
        if (context.zoom >= 6 && rank < labelled) {
            QString text = airport.icao;
            if (context.zoom >= 10)
                text += QStringLiteral("\n%1 ft").arg(airport.elevation);
            context.labels->add(kLabelPriority + rank / 50, pos, radius - 2.0, LabelCache::Role::Airport, colour, text);
        }
    }
}

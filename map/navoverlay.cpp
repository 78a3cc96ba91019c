#include "map/navoverlay.h"

#include "map/airportdiagramoverlay.h"
#include "map/airportoverlay.h"
#include "map/airspaceoverlay.h"
#include "map/airwayoverlay.h"
#include "map/navaidoverlay.h"
#include "map/runwayoverlay.h"
#include "map/waypointoverlay.h"

#include <QPainter>

void NavOverlayPainter::paint(QPainter *painter, const MapPaintContext &context)
{
    if (drawsAt(context.zoom))
        paintLayer(painter, context);
}

void NavOverlayManager::addPainter(std::unique_ptr<NavOverlayPainter> painter)
{
    m_painters.push_back(std::move(painter));
}

void NavOverlayManager::paint(QPainter *painter, const MapPaintContext &context)
{
    for (const auto &overlay : m_painters) {
        if (context.layerVisible && !context.layerVisible(overlay->layerName()))
            continue;
        painter->save();
        overlay->paint(painter, context);
        painter->restore();
    }
}

std::unique_ptr<NavOverlayManager> NavOverlayManager::createDefault()
{
    auto manager = std::make_unique<NavOverlayManager>();
    manager->addPainter(std::make_unique<AirspaceOverlay>());
    manager->addPainter(std::make_unique<AirwayOverlay>(QStringLiteral("LOW")));
    manager->addPainter(std::make_unique<AirwayOverlay>(QStringLiteral("HIGH")));
    manager->addPainter(std::make_unique<AirportDiagramOverlay>());
    manager->addPainter(std::make_unique<RunwayOverlay>());
    manager->addPainter(std::make_unique<IlsOverlay>());
    manager->addPainter(std::make_unique<WaypointOverlay>());
    manager->addPainter(std::make_unique<NavaidOverlay>());
    manager->addPainter(std::make_unique<AirportOverlay>());
    return manager;
}

#pragma once

#include "map/mapview.h"

#include <QRectF>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

class LabelLayer;
class MapDataSource;
class MapSymbols;
class QPainter;
struct MapPalette;

// Everything an overlay painter needs for one frame. The widget builds it for each paint; the
// pointers are borrowed for that paint only.
struct MapPaintContext
{
    GeoBounds bounds; // positions of the top-left and bottom-right corners of the area drawn
    int zoom = 7;
    MapView view;      // the projection (geoToScreen)
    QRectF screenRect; // the area drawn, for culling
    MapDataSource *data = nullptr;
    const MapPalette *palette = nullptr;
    MapSymbols *symbols = nullptr;
    LabelLayer *labels = nullptr;
    // Whether a layer is shown (true for names the widget does not know).
    std::function<bool(const QString &)> layerVisible;
    // Airports whose ground layout a painter wanted but which is not in memory yet.
    QSet<QString> *diagramsWanted = nullptr;

    QPointF project(double lat, double lon) const { return view.geoToScreen(lat, lon); }
};

// One layer of navigation data on the map. A painter draws nothing at or below its minimum zoom.
// Painters are created and owned by the overlay manager; they keep no per-frame state.
class NavOverlayPainter
{
public:
    NavOverlayPainter(const QString &layerName, int minZoom) : m_layer(layerName), m_minZoom(minZoom) {}
    virtual ~NavOverlayPainter() = default;

    QString layerName() const { return m_layer; }
    int minZoom() const { return m_minZoom; }
    bool drawsAt(int zoom) const { return zoom > m_minZoom; }

    void paint(QPainter *painter, const MapPaintContext &context);

protected:
    virtual void paintLayer(QPainter *painter, const MapPaintContext &context) = 0;

private:
    QString m_layer;
    int m_minZoom;
};

// Keeps the overlay painters in insertion order and, on paint, calls each one whose layer is
// visible, saving and restoring the painter state around each call. Owned by the map widget.
class NavOverlayManager
{
public:
    void addPainter(std::unique_ptr<NavOverlayPainter> painter);
    const std::vector<std::unique_ptr<NavOverlayPainter>> &painters() const { return m_painters; }
    void paint(QPainter *painter, const MapPaintContext &context);

    // The station's set, bottom first: airspaces, low and high airways, airport diagrams,
    // runways, ILS feathers, fixes, navaids, airports.
    static std::unique_ptr<NavOverlayManager> createDefault();

private:
    std::vector<std::unique_ptr<NavOverlayPainter>> m_painters;
};

// Minimum zooms (a painter draws above its value).
namespace NavOverlayZoom {
constexpr int kNone = 0;
constexpr int kWaypoints = 6;
constexpr int kRunways = 7;
constexpr int kAirways = 6;
constexpr int kAirspaces = 5;
constexpr int kSectors = 4;
constexpr int kAirportDiagram = 13;
constexpr int kIls = 8;
} // namespace NavOverlayZoom

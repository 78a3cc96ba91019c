#pragma once

#include "nav/navrecords.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include <list>
#include <memory>
#include <vector>

class OfflineNavDataProvider;

// Bounding-box replies of zobrel-navd put together from JSON encoded once per one-degree tile.
//
// Encoding the records of a map view into JSON objects is most of the work of a box reply, and
// neighbouring stations ask for overlapping views all day. So each record is encoded once, kept
// with its position in the tile that owns it, and a reply only filters, thins and copies bytes.
// Which tiles own which records is indexed once per loaded database (a snapshot of its lists);
// encoded tiles live in a least-recently-used cache bounded in bytes.
//
// Not thread-safe: used from the service's thread. clear() after the provider's data changed.
class BoxReplyCache
{
public:
    enum Layer : unsigned {
        Airports = 1u << 0,
        Airspaces = 1u << 1,
        Airways = 1u << 2,
        Navaids = 1u << 3,
        Runways = 1u << 4,
        Waypoints = 1u << 5,
    };
    struct Box
    {
        double minLat = 0.0;
        double minLon = 0.0;
        double maxLat = 0.0;
        double maxLon = 0.0;
    };
    // No layer of a reply carries more elements than this.
    static constexpr int kMaxPerLayer = 5000;
    // Runways are in replies from this zoom on, as the map shows them.
    static constexpr int kRunwayZoom = 8;
    // The map draws at most 200 airports up to zoom 7 and 500 above, the most important of its
    // view; a reply, for the view and a margin, keeps twice that many of the most important.
    static int airportCap(int zoom) { return zoom <= 7 ? 400 : 1000; }
    // Below these zooms the map draws one navaid per 10 px and one fix per 8 px (12 px up to
    // zoom 7); replies keep one per cell of half that.
    static constexpr int kNavaidThinZoom = 8;
    static constexpr double kNavaidThinCellPx = 5.0;
    static constexpr int kWaypointThinZoom = 9;
    static constexpr double kWaypointThinCellPx = 4.0;
    static constexpr double kWaypointThinCellZoom7Px = 6.0;

    explicit BoxReplyCache(qint64 maxBytes);
    ~BoxReplyCache();

    // The compact JSON body of a box reply over the provider's current data: "source", "zoom"
    // and one array per layer asked for.
    QByteArray reply(const OfflineNavDataProvider &provider, const QString &source, const Box &box, int zoom,
                     unsigned layers);
    // Indexes the provider's data now rather than at the first reply (the first station waits
    // less); may run on another thread while the cache is not in use yet.
    void prepare(const OfflineNavDataProvider &provider) { ensureSnapshot(provider); }
    // Forgets the index and every encoded tile: the next reply reads the provider again.
    void clear();

    qint64 cachedBytes() const { return m_bytes; }
    int cachedTiles() const { return int(m_tiles.size()); }

    static unsigned layerBit(const QString &name);

private:
    struct Item;
    struct Tile;
    struct Snapshot;
    using TilePtr = std::shared_ptr<const Tile>;

    void ensureSnapshot(const OfflineNavDataProvider &provider);
    TilePtr tile(const OfflineNavDataProvider &provider, int key);
    TilePtr encode(const OfflineNavDataProvider &provider, int key) const;

    qint64 m_maxBytes;
    std::unique_ptr<Snapshot> m_snapshot;
    struct Entry
    {
        TilePtr tile;
        std::list<int>::iterator use;
    };
    QHash<int, Entry> m_tiles;
    std::list<int> m_useOrder; // most recently used first
    qint64 m_bytes = 0;
};

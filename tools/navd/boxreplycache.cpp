#include "boxreplycache.h"

#include "navreplyjson.h"

#include "nav/offlinenavdataprovider.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kTilesX = 360;
constexpr int kTilesY = 180;
// Lines and areas over more tiles than this are kept once, in a list every reply looks through,
// rather than in each of their tiles: real data has airways between namesake fixes half a world
// apart, which would otherwise fill thousands of tiles.
constexpr int kMaxTilesPerRecord = 32;
constexpr int kSpreadKey = kTilesX * kTilesY;
// Bookkeeping per encoded record beyond its bytes, so the bound holds for many small records.
constexpr qint64 kItemOverhead = 96;

int tileX(double lon)
{
    return std::clamp(int(std::floor(lon)) + 180, 0, kTilesX - 1);
}

int tileY(double lat)
{
    return std::clamp(int(std::floor(lat)) + 90, 0, kTilesY - 1);
}

bool finite(double a, double b)
{
    return std::isfinite(a) && std::isfinite(b);
}

QByteArray compact(const QJsonObject &o)
{
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

bool isVorFamily(const QString &type)
{
    const QString t = type.toUpper();
    return t.contains(QLatin1String("VOR")) || t.contains(QLatin1String("TACAN"));
}

} // namespace

struct BoxReplyCache::Item
{
    // A point record's position is (minLat, minLon); a line or area has its bounding box.
    Box extent;
    // Airports: the map's ranking, which decides the ones a capped reply keeps.
    double importance = 0.0;
    QString icao;
    // Navaids: shown below zoom 6 too.
    bool lowZoom = true;
    // An airway across the antimeridian: in the reply when either end is in the box; this copy
    // is the one kept in the tile of its first end, of its second end, or of both.
    bool wraps = false;
    // Kept in the list of records over many tiles rather than in its tiles.
    bool spread = false;
    bool atFrom = false;
    bool atTo = false;
    double toLat = 0.0;
    double toLon = 0.0;
    QByteArray json;
    QList<QByteArray> runways;
};

struct BoxReplyCache::Tile
{
    std::vector<Item> airports;
    std::vector<Item> airspaces;
    std::vector<Item> airways;
    std::vector<Item> navaids;
    std::vector<Item> waypoints;
    qint64 bytes = 0;
};

// The provider's lists as they were when the index was made, and which records each tile owns:
// a point record the tile it lies in, a line or area every tile its bounding box meets.
struct BoxReplyCache::Snapshot
{
    struct Members
    {
        QList<int> airports, airspaces, airways, navaids, waypoints;
    };
    QList<AirportRecord> airports;
    QList<AirspaceRecord> airspaces;
    QList<Box> airspaceBoxes;
    QList<AirwaySegment> airways;
    QList<NavaidRecord> navaids;
    QList<WaypointRecord> waypoints;
    QHash<int, Members> tiles;
    // Under kSpreadKey: the lines and areas over more than kMaxTilesPerRecord tiles.
};

BoxReplyCache::BoxReplyCache(qint64 maxBytes) : m_maxBytes(maxBytes) {}

BoxReplyCache::~BoxReplyCache() = default;

unsigned BoxReplyCache::layerBit(const QString &name)
{
    static const QHash<QString, unsigned> bits{{"airports", Airports}, {"airspaces", Airspaces},
                                               {"airways", Airways},   {"navaids", Navaids},
                                               {"runways", Runways},   {"waypoints", Waypoints}};
    return bits.value(name, 0u);
}

void BoxReplyCache::clear()
{
    m_snapshot.reset();
    m_tiles.clear();
    m_useOrder.clear();
    m_bytes = 0;
}

void BoxReplyCache::ensureSnapshot(const OfflineNavDataProvider &provider)
{
    if (m_snapshot)
        return;
    auto s = std::make_unique<Snapshot>();
    s->airports = provider.airports();
    s->airspaces = provider.airspaces();
    s->airways = provider.airways();
    s->navaids = provider.navaids();
    s->waypoints = provider.waypoints();
    const auto addPoint = [&s](QList<int> Snapshot::Members::*list, int index, double lat, double lon) {
        // Beyond the globe a record can meet no valid box: it is left out.
        if (finite(lat, lon) && lat >= -90.0 && lat <= 90.0 && lon >= -180.0 && lon <= 180.0)
            (s->tiles[tileY(lat) * kTilesX + tileX(lon)].*list).append(index);
    };
    const auto addBox = [&s](QList<int> Snapshot::Members::*list, int index, const Box &b) {
        if (!finite(b.minLat, b.minLon) || !finite(b.maxLat, b.maxLon))
            return;
        if ((tileY(b.maxLat) - tileY(b.minLat) + 1) * (tileX(b.maxLon) - tileX(b.minLon) + 1) > kMaxTilesPerRecord) {
            (s->tiles[kSpreadKey].*list).append(index);
            return;
        }
        for (int y = tileY(b.minLat); y <= tileY(b.maxLat); ++y) {
            for (int x = tileX(b.minLon); x <= tileX(b.maxLon); ++x)
                (s->tiles[y * kTilesX + x].*list).append(index);
        }
    };
    for (int i = 0; i < s->airports.size(); ++i)
        addPoint(&Snapshot::Members::airports, i, s->airports.at(i).lat, s->airports.at(i).lon);
    for (int i = 0; i < s->navaids.size(); ++i)
        addPoint(&Snapshot::Members::navaids, i, s->navaids.at(i).lat, s->navaids.at(i).lon);
    for (int i = 0; i < s->waypoints.size(); ++i)
        addPoint(&Snapshot::Members::waypoints, i, s->waypoints.at(i).lat, s->waypoints.at(i).lon);
    for (int i = 0; i < s->airways.size(); ++i) {
        const AirwaySegment &w = s->airways.at(i);
        if (std::abs(w.toLon - w.fromLon) > 180.0) {
            addPoint(&Snapshot::Members::airways, i, w.fromLat, w.fromLon);
            const int fromKey = tileY(w.fromLat) * kTilesX + tileX(w.fromLon);
            if (tileY(w.toLat) * kTilesX + tileX(w.toLon) != fromKey)
                addPoint(&Snapshot::Members::airways, i, w.toLat, w.toLon);
        } else {
            addBox(&Snapshot::Members::airways, i,
                   Box{std::min(w.fromLat, w.toLat), std::min(w.fromLon, w.toLon), std::max(w.fromLat, w.toLat),
                       std::max(w.fromLon, w.toLon)});
        }
    }
    for (int i = 0; i < s->airspaces.size(); ++i) {
        Box b{90.0, 180.0, -90.0, -180.0};
        for (const QPointF &p : s->airspaces.at(i).boundary) {
            b.minLat = std::min(b.minLat, p.x());
            b.maxLat = std::max(b.maxLat, p.x());
            b.minLon = std::min(b.minLon, p.y());
            b.maxLon = std::max(b.maxLon, p.y());
        }
        s->airspaceBoxes.append(b);
        if (!s->airspaces.at(i).boundary.isEmpty())
            addBox(&Snapshot::Members::airspaces, i, b);
    }
    m_snapshot = std::move(s);
}

BoxReplyCache::TilePtr BoxReplyCache::encode(const OfflineNavDataProvider &provider, int key) const
{
    auto tile = std::make_shared<Tile>();
    const auto found = m_snapshot->tiles.constFind(key);
    if (found == m_snapshot->tiles.cend())
        return tile;
    const Snapshot &s = *m_snapshot;
    const Snapshot::Members &m = found.value();
    const auto account = [&tile](const Item &item) {
        tile->bytes += kItemOverhead + item.json.size();
        for (const QByteArray &r : item.runways)
            tile->bytes += kItemOverhead + r.size();
    };
    for (int i : m.airports) {
        const AirportRecord &a = s.airports.at(i);
        Item item;
        item.extent = Box{a.lat, a.lon, a.lat, a.lon};
        item.importance = airportImportance(a);
        item.icao = a.icao;
        item.json = compact(navreply::airport(a));
        for (const RunwayRecord &r : provider.runways(a.icao))
            item.runways.append(compact(navreply::runway(r)));
        account(item);
        tile->airports.push_back(std::move(item));
    }
    for (int i : m.navaids) {
        const NavaidRecord &n = s.navaids.at(i);
        Item item;
        item.extent = Box{n.lat, n.lon, n.lat, n.lon};
        item.lowZoom = isVorFamily(n.type);
        item.json = compact(navreply::navaid(n));
        account(item);
        tile->navaids.push_back(std::move(item));
    }
    for (int i : m.waypoints) {
        const WaypointRecord &w = s.waypoints.at(i);
        Item item;
        item.extent = Box{w.lat, w.lon, w.lat, w.lon};
        item.json = compact(navreply::waypoint(w));
        account(item);
        tile->waypoints.push_back(std::move(item));
    }
    for (int i : m.airways) {
        const AirwaySegment &w = s.airways.at(i);
        Item item;
        item.wraps = std::abs(w.toLon - w.fromLon) > 180.0;
        if (item.wraps) {
            item.extent = Box{w.fromLat, w.fromLon, w.fromLat, w.fromLon};
            item.toLat = w.toLat;
            item.toLon = w.toLon;
            item.atFrom = tileY(w.fromLat) * kTilesX + tileX(w.fromLon) == key;
            item.atTo = tileY(w.toLat) * kTilesX + tileX(w.toLon) == key;
        } else {
            item.extent = Box{std::min(w.fromLat, w.toLat), std::min(w.fromLon, w.toLon), std::max(w.fromLat, w.toLat),
                              std::max(w.fromLon, w.toLon)};
        }
        item.spread = key == kSpreadKey;
        item.json = compact(navreply::airway(w));
        account(item);
        tile->airways.push_back(std::move(item));
    }
    for (int i : m.airspaces) {
        Item item;
        item.extent = s.airspaceBoxes.at(i);
        item.spread = key == kSpreadKey;
        item.json = compact(navreply::airspace(s.airspaces.at(i)));
        account(item);
        tile->airspaces.push_back(std::move(item));
    }
    return tile;
}

BoxReplyCache::TilePtr BoxReplyCache::tile(const OfflineNavDataProvider &provider, int key)
{
    const auto found = m_tiles.find(key);
    if (found != m_tiles.end()) {
        m_useOrder.splice(m_useOrder.begin(), m_useOrder, found->use);
        return found->tile;
    }
    TilePtr fresh = encode(provider, key);
    m_useOrder.push_front(key);
    m_tiles.insert(key, Entry{fresh, m_useOrder.begin()});
    m_bytes += fresh->bytes;
    // The tile just made stays even when it alone is over the bound; callers hold what they use.
    while (m_bytes > m_maxBytes && m_useOrder.size() > 1) {
        const int oldest = m_useOrder.back();
        m_useOrder.pop_back();
        m_bytes -= m_tiles.value(oldest).tile->bytes;
        m_tiles.remove(oldest);
    }
    return fresh;
}

QByteArray BoxReplyCache::reply(const OfflineNavDataProvider &provider, const QString &source, const Box &box, int zoom,
                                unsigned layers)
{
    ensureSnapshot(provider);
    const int x0 = tileX(box.minLon), x1 = tileX(box.maxLon);
    const int y0 = tileY(box.minLat), y1 = tileY(box.maxLat);
    struct Held
    {
        TilePtr tile;
        int x, y;
    };
    std::vector<Held> held;
    for (int y = y0; y <= y1; ++y) {
        for (int x = x0; x <= x1; ++x) {
            const int key = y * kTilesX + x;
            if (m_snapshot->tiles.contains(key))
                held.push_back(Held{tile(provider, key), x, y});
        }
    }
    if (m_snapshot->tiles.contains(kSpreadKey))
        held.push_back(Held{tile(provider, kSpreadKey), -1, -1});

    const auto pointIn = [&box](const Item &i) {
        return i.extent.minLat >= box.minLat && i.extent.minLat <= box.maxLat && i.extent.minLon >= box.minLon &&
               i.extent.minLon <= box.maxLon;
    };
    // A line or area is in the reply once, from the first tile of the box it is kept in.
    const auto extentIn = [&box, x0, y0](const Item &i, int x, int y) {
        const Box &e = i.extent;
        return e.minLat <= box.maxLat && e.maxLat >= box.minLat && e.minLon <= box.maxLon && e.maxLon >= box.minLon &&
               (i.spread || (x == std::max(tileX(e.minLon), x0) && y == std::max(tileY(e.minLat), y0)));
    };
    const auto wrapIn = [&box, &pointIn](const Item &i) {
        const bool fromIn = pointIn(i);
        const bool toIn =
            i.toLat >= box.minLat && i.toLat <= box.maxLat && i.toLon >= box.minLon && i.toLon <= box.maxLon;
        return (i.atFrom && fromIn) || (i.atTo && !fromIn && toIn);
    };

    // Points are thinned to one per grid cell only at the zooms where the map thins that layer
    // itself, on cells half the map's size: the map's own thinning still has the last word, and
    // what it draws matches what it draws from a local database.
    const auto thinned = [zoom](const std::vector<const Item *> &items, double cellPx) {
        std::vector<const Item *> kept;
        const double cellDeg = 360.0 / (256.0 * std::ldexp(1.0, zoom)) * cellPx;
        QSet<qint64> used;
        for (const Item *i : items) {
            if (int(kept.size()) >= kMaxPerLayer)
                break;
            if (cellPx > 0.0) {
                const qint64 cell = (qint64(std::floor(i->extent.minLat / cellDeg)) << 32) ^
                                    qint64(std::floor(i->extent.minLon / cellDeg));
                if (used.contains(cell))
                    continue;
                used.insert(cell);
            }
            kept.push_back(i);
        }
        return kept;
    };

    QByteArray out;
    out.reserve(64 * 1024);
    out += '{';
    bool firstKey = true;
    const auto array = [&out, &firstKey](const char *key, const std::vector<const Item *> &items) {
        out += firstKey ? "\"" : ",\"";
        firstKey = false;
        out += key;
        out += "\":[";
        for (size_t n = 0; n < items.size(); ++n) {
            if (n > 0)
                out += ',';
            out += items[n]->json;
        }
        out += ']';
    };
    const auto collect = [&held](std::vector<Item> Tile::*list, auto &&wanted) {
        std::vector<const Item *> found;
        for (const Held &h : held) {
            for (const Item &i : (*h.tile).*list) {
                if (wanted(i, h.x, h.y))
                    found.push_back(&i);
            }
        }
        return found;
    };
    const auto capped = [](std::vector<const Item *> items) {
        if (int(items.size()) > kMaxPerLayer)
            items.resize(kMaxPerLayer);
        return items;
    };

    // Keys in the order a QJsonObject writes them, so a reply reads as it always has.
    // In the map's order of importance, so a capped reply keeps the airports the map would draw;
    // not thinned by place, the map keeps the most important ones of its view. Runways come for
    // the airports kept.
    std::vector<const Item *> airports;
    if (layers & (Airports | Runways)) {
        airports = collect(&Tile::airports, [&pointIn](const Item &i, int, int) { return pointIn(i); });
        std::sort(airports.begin(), airports.end(), [](const Item *a, const Item *b) {
            return a->importance != b->importance ? a->importance > b->importance : a->icao < b->icao;
        });
        if (int(airports.size()) > airportCap(zoom))
            airports.resize(size_t(airportCap(zoom)));
    }
    if (layers & Airports)
        array("airports", airports);
    if (layers & Airspaces)
        array("airspaces", capped(collect(&Tile::airspaces, extentIn)));
    if (layers & Airways) {
        array("airways", capped(collect(&Tile::airways, [&](const Item &i, int x, int y) {
                  return i.wraps ? wrapIn(i) : extentIn(i, x, y);
              })));
    }
    if (layers & Navaids) {
        array("navaids",
              thinned(collect(&Tile::navaids, [&pointIn, zoom](const Item &i, int,
                                                               int) { return (zoom >= 6 || i.lowZoom) && pointIn(i); }),
                      zoom < kNavaidThinZoom ? kNavaidThinCellPx : 0.0));
    }
    if (layers & Runways) {
        out += firstKey ? "\"runways\":[" : ",\"runways\":[";
        firstKey = false;
        int count = 0;
        if (zoom >= kRunwayZoom) {
            for (const Item *a : airports) {
                for (const QByteArray &r : a->runways) {
                    if (count >= kMaxPerLayer)
                        break;
                    if (count++ > 0)
                        out += ',';
                    out += r;
                }
            }
        }
        out += ']';
    }
    const QByteArray name = QJsonDocument(QJsonArray{source}).toJson(QJsonDocument::Compact);
    out += firstKey ? "\"source\":" : ",\"source\":";
    firstKey = false;
    out += name.mid(1, name.size() - 2);
    if (layers & Waypoints)
        array("waypoints",
              thinned(collect(&Tile::waypoints, [&pointIn](const Item &i, int, int) { return pointIn(i); }),
                      zoom >= kWaypointThinZoom ? 0.0 : (zoom <= 7 ? kWaypointThinCellZoom7Px : kWaypointThinCellPx)));
    out += ",\"zoom\":" + QByteArray::number(zoom) + '}';
    return out;
}

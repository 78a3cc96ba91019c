#include "nav/onlinenavreply.h"

namespace onlinenav {

namespace {

template <typename Record, typename Fill> QList<Record> parseList(const QJsonArray &array, Fill fill)
{
    QList<Record> out;
    out.reserve(array.size());
    for (const QJsonValue &value : array) {
        if (!value.isObject())
            continue;
        Record r;
        fill(value.toObject(), r);
        out.append(r);
    }
    return out;
}

QString text(const QJsonObject &o, const char *key)
{
    return o.value(QLatin1String(key)).toString();
}

double number(const QJsonObject &o, const char *key)
{
    return o.value(QLatin1String(key)).toDouble();
}

int integer(const QJsonObject &o, const char *key)
{
    return o.value(QLatin1String(key)).toInt();
}

bool flag(const QJsonObject &o, const char *key)
{
    const QJsonValue v = o.value(QLatin1String(key));
    return v.isBool() ? v.toBool() : v.toInt() != 0;
}

} // namespace

QList<AirportRecord> parseAirports(const QJsonArray &array)
{
    return parseList<AirportRecord>(array, [](const QJsonObject &o, AirportRecord &a) {
        a.icao = text(o, "icao");
        a.name = text(o, "name");
        a.lat = number(o, "lat");
        a.lon = number(o, "lon");
        a.elevation = integer(o, "elevation");
        a.city = text(o, "city");
        a.country = text(o, "country");
        a.hasTower = flag(o, "has_tower");
        a.runwayCount = integer(o, "runway_count");
        a.longestRunway = text(o, "longest_runway");
        a.isHardSurface = flag(o, "is_hard_surface");
    });
}

QList<RunwayRecord> parseRunways(const QJsonArray &array)
{
    return parseList<RunwayRecord>(array, [](const QJsonObject &o, RunwayRecord &r) {
        r.airportIcao = text(o, "airport_icao");
        r.ident = text(o, "ident");
        r.length = integer(o, "length");
        r.width = integer(o, "width");
        r.heading = number(o, "heading");
        r.lat = number(o, "lat");
        r.lon = number(o, "lon");
        r.surface = text(o, "surface");
    });
}

QList<NavaidRecord> parseNavaids(const QJsonArray &array)
{
    return parseList<NavaidRecord>(array, [](const QJsonObject &o, NavaidRecord &n) {
        n.ident = text(o, "ident");
        n.type = text(o, "type");
        n.lat = number(o, "lat");
        n.lon = number(o, "lon");
        n.freq = number(o, "freq");
        n.rangeNm = number(o, "range_nm");
        n.airportIcao = text(o, "airport_icao");
        n.hasDme = flag(o, "has_dme");
    });
}

QList<WaypointRecord> parseWaypoints(const QJsonArray &array)
{
    return parseList<WaypointRecord>(array, [](const QJsonObject &o, WaypointRecord &w) {
        w.ident = text(o, "ident");
        w.lat = number(o, "lat");
        w.lon = number(o, "lon");
        w.type = text(o, "type");
    });
}

QList<AirwaySegment> parseAirways(const QJsonArray &array)
{
    return parseList<AirwaySegment>(array, [](const QJsonObject &o, AirwaySegment &s) {
        s.name = text(o, "name");
        s.level = text(o, "level");
        s.fromLat = number(o, "from_lat");
        s.fromLon = number(o, "from_lon");
        s.toLat = number(o, "to_lat");
        s.toLon = number(o, "to_lon");
        s.fromIdent = text(o, "from_ident");
        s.toIdent = text(o, "to_ident");
        s.distance = number(o, "distance");
    });
}

QList<AirspaceRecord> parseAirspaces(const QJsonArray &array)
{
    return parseList<AirspaceRecord>(array, [](const QJsonObject &o, AirspaceRecord &a) {
        a.id = integer(o, "id");
        a.name = text(o, "name");
        a.type = text(o, "type");
        a.bottomAlt = integer(o, "bottom_alt");
        a.topAlt = integer(o, "top_alt");
        for (const QJsonValue &p : o.value(QLatin1String("boundary")).toArray()) {
            const QJsonObject point = p.toObject();
            a.boundary.append(QPointF(number(point, "lat"), number(point, "lon")));
        }
    });
}

QList<ParkingRecord> parseParkings(const QString &icao, const QJsonArray &array)
{
    return parseList<ParkingRecord>(array, [&icao](const QJsonObject &o, ParkingRecord &p) {
        p.airportIcao = icao;
        p.name = text(o, "name");
        if (o.contains(QLatin1String("type")))
            p.type = text(o, "type");
        p.lat = number(o, "lat");
        p.lon = number(o, "lon");
        p.heading = number(o, "heading");
    });
}

QList<FrequencyRecord> parseFrequencies(const QString &icao, const QJsonArray &array)
{
    return parseList<FrequencyRecord>(array, [&icao](const QJsonObject &o, FrequencyRecord &f) {
        f.airportIcao = icao;
        f.type = text(o, "type");
        f.frequency = number(o, "frequency");
        f.name = text(o, "name");
    });
}

TowerRecord parseTower(const QString &icao, const QJsonValue &value)
{
    TowerRecord t;
    if (!value.isObject())
        return t;
    const QJsonObject o = value.toObject();
    t.airportIcao = icao;
    t.lat = number(o, "lat");
    t.lon = number(o, "lon");
    t.frequency = number(o, "frequency");
    t.name = text(o, "name");
    return t;
}

QMap<int, TaxiwayNode> parseTaxiwayNodes(const QJsonArray &array)
{
    QMap<int, TaxiwayNode> nodes;
    for (const TaxiwayNode &n : parseList<TaxiwayNode>(array, [](const QJsonObject &o, TaxiwayNode &node) {
             node.nodeId = integer(o, "node_id");
             node.lat = number(o, "lat");
             node.lon = number(o, "lon");
             node.nodeType = text(o, "node_type");
             node.nodeName = text(o, "node_name");
         }))
        nodes.insert(n.nodeId, n);
    return nodes;
}

QList<TaxiwayEdge> parseTaxiwayEdges(const QJsonArray &array)
{
    return parseList<TaxiwayEdge>(array, [](const QJsonObject &o, TaxiwayEdge &e) {
        e.fromNodeId = integer(o, "from_node_id");
        e.toNodeId = integer(o, "to_node_id");
        e.direction = text(o, "direction");
        e.restriction = text(o, "restriction");
        e.taxiwayName = text(o, "taxiway_name");
    });
}

void parseProcedures(const QString &icao, const QString &type, const QJsonArray &array,
                     QList<INavDataProvider::Procedure> *procedures, QList<INavDataProvider::ProcedureLeg> *legs)
{
    for (const QJsonValue &value : array) {
        if (!value.isObject())
            continue;
        const QJsonObject o = value.toObject();
        INavDataProvider::Procedure p;
        p.airportIcao = icao;
        p.type = type;
        p.name = text(o, "name");
        p.runwayIdent = text(o, "runway_ident");
        procedures->append(p);
        for (const QJsonValue &legValue : o.value(QLatin1String("legs")).toArray()) {
            const QJsonObject l = legValue.toObject();
            INavDataProvider::ProcedureLeg leg;
            leg.airportIcao = icao;
            leg.procName = p.name;
            leg.procType = type;
            leg.runway = p.runwayIdent;
            leg.seq = integer(l, "seq");
            leg.fixIdent = text(l, "fix_ident");
            leg.fixRegion = text(l, "fix_region");
            leg.fixType1 = text(l, "fix_type1");
            leg.fixType2 = text(l, "fix_type2");
            leg.fixType3 = text(l, "fix_type3");
            leg.legType = text(l, "leg_type");
            leg.lat = number(l, "lat");
            leg.lon = number(l, "lon");
            leg.altitude = number(l, "altitude");
            leg.speedLimit = integer(l, "speed_limit");
            legs->append(leg);
        }
    }
}

CycleInfo parseCycle(const QJsonObject &cycle)
{
    CycleInfo c;
    c.cycleMajor = integer(cycle, "major");
    c.cycleMinor = integer(cycle, "minor");
    c.provider = text(cycle, "provider");
    return c;
}

} // namespace onlinenav

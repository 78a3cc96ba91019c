#include "navreplyjson.h"

namespace navreply {

QJsonObject airport(const AirportRecord &a)
{
    return QJsonObject{{"icao", a.icao},
                       {"name", a.name},
                       {"lat", a.lat},
                       {"lon", a.lon},
                       {"elevation", a.elevation},
                       {"city", a.city},
                       {"country", a.country},
                       {"has_tower", a.hasTower},
                       {"runway_count", a.runwayCount},
                       {"longest_runway", a.longestRunway},
                       {"is_hard_surface", a.isHardSurface}};
}

QJsonObject runway(const RunwayRecord &r)
{
    return QJsonObject{
        {"airport_icao", r.airportIcao}, {"ident", r.ident},       {"length", r.length}, {"width", r.width},
        {"heading", r.heading},          {"lat", r.lat},           {"lon", r.lon},       {"surface", r.surface},
        {"ils_freq", r.ilsFreq},         {"ils_ident", r.ilsIdent}};
}

QString reciprocalIdent(const QString &ident)
{
    int digits = 0;
    while (digits < ident.size() && digits < 2 && ident.at(digits).isDigit())
        ++digits;
    if (digits == 0)
        return QString();
    const int number = ident.left(digits).toInt();
    if (number < 1 || number > 36)
        return QString();
    const int opposite = number > 18 ? number - 18 : number + 18;
    QString suffix = ident.mid(digits);
    if (suffix == QLatin1String("L"))
        suffix = QStringLiteral("R");
    else if (suffix == QLatin1String("R"))
        suffix = QStringLiteral("L");
    return QStringLiteral("%1").arg(opposite, 2, 10, QLatin1Char('0')) + suffix;
}

QJsonObject runwayWithReciprocal(const RunwayRecord &r, const QList<RunwayRecord> &all)
{
    QJsonObject o = runway(r);
    const QString other = reciprocalIdent(r.ident);
    // Only an end the airport really has: a single-ended record stays without one.
    bool present = false;
    for (const RunwayRecord &candidate : all)
        present = present || candidate.ident == other;
    o.insert("reciprocal_ident", present ? other : QString());
    return o;
}

QJsonObject navaid(const NavaidRecord &n)
{
    return QJsonObject{{"ident", n.ident},
                       {"type", n.type},
                       {"lat", n.lat},
                       {"lon", n.lon},
                       {"freq", n.freq},
                       {"range_nm", n.rangeNm},
                       {"airport_icao", n.airportIcao},
                       {"has_dme", n.hasDme}};
}

QJsonObject waypoint(const WaypointRecord &w)
{
    return QJsonObject{{"ident", w.ident}, {"lat", w.lat}, {"lon", w.lon}, {"type", w.type}};
}

QJsonObject airway(const AirwaySegment &s)
{
    return QJsonObject{
        {"name", s.name},        {"level", s.level},  {"from_lat", s.fromLat},     {"from_lon", s.fromLon},
        {"to_lat", s.toLat},     {"to_lon", s.toLon}, {"from_ident", s.fromIdent}, {"to_ident", s.toIdent},
        {"distance", s.distance}};
}

QJsonObject airspace(const AirspaceRecord &a)
{
    QJsonArray boundary;
    for (const QPointF &p : a.boundary)
        boundary.append(QJsonObject{{"lat", p.x()}, {"lon", p.y()}});
    return QJsonObject{{"id", a.id},          {"name", a.name},      {"type", a.type}, {"bottom_alt", a.bottomAlt},
                       {"top_alt", a.topAlt}, {"boundary", boundary}};
}

QJsonObject parking(const ParkingRecord &p)
{
    return QJsonObject{{"name", p.name}, {"type", p.type}, {"lat", p.lat}, {"lon", p.lon}, {"heading", p.heading}};
}

QJsonObject frequency(const FrequencyRecord &f)
{
    return QJsonObject{{"type", f.type}, {"frequency", f.frequency}, {"name", f.name}};
}

QJsonObject tower(const TowerRecord &t)
{
    return QJsonObject{{"lat", t.lat}, {"lon", t.lon}, {"frequency", t.frequency}, {"name", t.name}};
}

QJsonObject taxiwayNode(const TaxiwayNode &n)
{
    return QJsonObject{
        {"node_id", n.nodeId}, {"lat", n.lat}, {"lon", n.lon}, {"node_type", n.nodeType}, {"node_name", n.nodeName}};
}

QJsonObject taxiwayEdge(const TaxiwayEdge &e)
{
    return QJsonObject{{"from_node_id", e.fromNodeId},
                       {"to_node_id", e.toNodeId},
                       {"direction", e.direction},
                       {"restriction", e.restriction},
                       {"taxiway_name", e.taxiwayName}};
}

QJsonObject procedureLeg(const INavDataProvider::ProcedureLeg &leg)
{
    return QJsonObject{{"seq", leg.seq},
                       {"fix_ident", leg.fixIdent},
                       {"fix_region", leg.fixRegion},
                       {"fix_type1", leg.fixType1},
                       {"fix_type2", leg.fixType2},
                       {"fix_type3", leg.fixType3},
                       {"leg_type", leg.legType},
                       {"lat", leg.lat},
                       {"lon", leg.lon},
                       {"altitude", leg.altitude},
                       {"speed_limit", leg.speedLimit}};
}

QJsonObject cycle(const CycleInfo &c)
{
    return QJsonObject{{"major", c.cycleMajor}, {"minor", c.cycleMinor}, {"provider", c.provider}};
}

} // namespace navreply

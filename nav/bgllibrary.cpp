#include "nav/bgllibrary.h"

#include "nav/airspaceboundary.h"

#include <QHash>

// Precedence over a whole scenery library gathered in load order, and the scenery vocabulary the
// database does not share.

QString bglFrequencyType(const QString &bgl)
{
    static const QHash<QString, QString> map{{QStringLiteral("ATIS"), QStringLiteral("ATIS")},
                                             {QStringLiteral("TOWER"), QStringLiteral("TWR")},
                                             {QStringLiteral("GROUND"), QStringLiteral("GND")},
                                             {QStringLiteral("CLEARANCE"), QStringLiteral("CLD")},
                                             {QStringLiteral("APPROACH"), QStringLiteral("APP")},
                                             {QStringLiteral("DEPARTURE"), QStringLiteral("DEP")},
                                             {QStringLiteral("UNICOM"), QStringLiteral("CTAF")},
                                             {QStringLiteral("MULTICOM"), QStringLiteral("CTAF")},
                                             {QStringLiteral("CTAF"), QStringLiteral("CTAF")},
                                             {QStringLiteral("FSS"), QStringLiteral("FSS")},
                                             {QStringLiteral("ASOS"), QStringLiteral("ATIS")},
                                             {QStringLiteral("AWOS"), QStringLiteral("ATIS")},
                                             {QStringLiteral("CENTER"), QStringLiteral("OTHER")},
                                             {QStringLiteral("CLEARANCE_PRE_TAXI"), QStringLiteral("CLD")},
                                             {QStringLiteral("REMOTE_CLEARANCE_DELIVERY"), QStringLiteral("CLD")}};
    return map.value(bgl, QStringLiteral("OTHER"));
}

// The X-Plane vocabulary the parkings table already uses: "GATE", "HANGAR", "TIE_DOWN", "MISC".
QString bglParkingType(const QString &bgl)
{
    if (bgl.startsWith(QLatin1String("GATE")))
        return QStringLiteral("GATE");
    if (bgl.startsWith(QLatin1String("RAMP")))
        return QStringLiteral("TIE_DOWN");
    return QStringLiteral("MISC");
}

QString bglAirspaceType(const QString &bgl)
{
    static const QHash<QString, QString> map{{QStringLiteral("CENTER"), QStringLiteral("FIR")},
                                             {QStringLiteral("TOWER"), QStringLiteral("CTR")},
                                             {QStringLiteral("CLEARANCE"), QStringLiteral("CTR")},
                                             {QStringLiteral("GROUND"), QStringLiteral("CTR")},
                                             {QStringLiteral("APPROACH"), QStringLiteral("TMA")},
                                             {QStringLiteral("DEPARTURE"), QStringLiteral("TMA")},
                                             {QStringLiteral("WARNING"), QStringLiteral("WARNING")},
                                             {QStringLiteral("ALERT"), QStringLiteral("WARNING")},
                                             {QStringLiteral("MOA"), QStringLiteral("DANGER")},
                                             {QStringLiteral("TRAINING"), QStringLiteral("DANGER")},
                                             {QStringLiteral("DANGER"), QStringLiteral("DANGER")},
                                             {QStringLiteral("RESTRICTED"), QStringLiteral("RESTRICTED")},
                                             {QStringLiteral("PROHIBITED"), QStringLiteral("PROHIBITED")}};
    if (bgl.startsWith(QLatin1String("CLASS_")))
        return bgl;
    return map.value(bgl, bgl);
}

QString bglProcedureType(const QString &bgl)
{
    // CIFP data names approaches "APPCH"; both imports feed the same readers.
    return bgl == QLatin1String("APPROACH") ? QStringLiteral("APPCH") : bgl;
}

bool isStubAirport(const BglAirport &a)
{
    return a.runways.isEmpty() && a.starts.isEmpty() && a.parkings.isEmpty();
}

namespace {

QString key(std::initializer_list<QString> parts)
{
    QString k;
    for (const QString &p : parts)
        k.append(p).append(QLatin1Char('|'));
    return k;
}

// Position to about 10 m: the same aid met twice (the NDB stride may repeat one, a library may
// list a file twice) is one record, while distinct aids sharing an ident and region stay apart.
QString at(double lat, double lon)
{
    return QStringLiteral("%1,%2").arg(lat, 0, 'f', 4).arg(lon, 0, 'f', 4);
}

} // namespace

BglLibrary::BglLibrary(const BglReader &r)
{
    for (const BglAirport &a : r.airports()) {
        BglAirport *base = airports.find(a.ident);
        // A delete-airport record removes what the airport had, so such a record always replaces.
        if (base && isStubAirport(a) && !isStubAirport(*base) && !a.hasDeleteRecord) {
            // A navigation-data update: new procedures and COMs for the stock airport.
            if (!a.procedures.isEmpty()) {
                base->procedures = a.procedures;
                base->procedureLegs = a.procedureLegs;
            }
            if (!a.comFrequencies.isEmpty())
                base->comFrequencies = a.comFrequencies;
        } else {
            airports.add(a.ident, a);
        }
    }
    for (const BglVor &v : r.vors())
        vors.add(key({v.ident, v.region, v.kind, at(v.lat, v.lon)}), v);
    for (const BglIls &i : r.ilses())
        ilses.add(key({i.ident, i.region, i.airportIdent, at(i.lat, i.lon)}), i);
    for (const BglNdb &n : r.ndbs())
        ndbs.add(key({n.ident, n.region, at(n.lat, n.lon)}), n);
    for (const BglMarker &m : r.markers())
        markers.add(key({m.ident, m.region, m.type, at(m.lat, m.lon)}), m);
    for (const BglWaypoint &w : r.waypoints())
        waypoints.add(key({w.ident, w.region, w.airportIdent, at(w.lat, w.lon)}), w);
    for (const BglAirwaySegment &s : r.airwaySegments())
        segments.add(key({s.name, s.fromIdent, s.fromRegion, at(s.fromLat, s.fromLon), s.toIdent, s.toRegion}), s);
    for (const BglBoundary &b : r.boundaries())
        boundaries.add(key({b.name, b.type, QString::number(b.lowerAltitudeFt), QString::number(b.upperAltitudeFt),
                            b.polygons.isEmpty() || b.polygons.first().isEmpty()
                                ? QString()
                                : formatAirspaceBoundary({b.polygons.first().first()})}),
                       b);
}

#include "nav/scenerywriter.h"

#include "nav/navschema.h"

using namespace navimport;

bool SceneryWriter::prepare(ImportSession &session, Source source)
{
    m_source = source;
    const bool records = source == Source::SceneryRecords;
    QSqlDatabase &db = session.db();
    const bool ok =
        m_airport.prepare(db, QLatin1String(schema::insert::Airport), 7) &&
        m_runway.prepare(db, QLatin1String(schema::insert::Runway), 8) &&
        m_frequency.prepare(db, QLatin1String(records ? schema::insert::SceneryFrequency : schema::insert::Frequency),
                            4) &&
        m_tower.prepare(db, QLatin1String(schema::insert::Tower), 5) &&
        m_parking.prepare(db, QLatin1String(schema::insert::Parking), 6) &&
        m_node.prepare(db, QLatin1String(records ? schema::insert::SceneryTaxiwayNode : schema::insert::TaxiwayNode),
                       records ? 5 : 6) &&
        m_edge.prepare(db, QLatin1String(schema::insert::TaxiwayEdge), 6);
    if (!ok)
        session.fail(QStringLiteral("prepare failed: %1").arg(m_airport.errorText()));
    return ok;
}

bool SceneryWriter::writeAirport(const Airport &a)
{
    m_airport.bind(0, a.icao);
    m_airport.bind(1, a.name);
    m_airport.bind(2, a.lat);
    m_airport.bind(3, a.lon);
    m_airport.bindInt(4, a.elevationFt);
    m_airport.bindInt(5, a.hasTower ? 1 : 0);
    m_airport.bindInt(6, a.runwayCount);
    return run(m_airport);
}

bool SceneryWriter::writeRunwayEnd(const QString &icao, const RunwayEnd &end)
{
    m_runway.bind(0, icao);
    m_runway.bind(1, end.ident);
    m_runway.bindInt(2, end.lengthFt);
    m_runway.bindInt(3, end.widthFt);
    m_runway.bind(4, end.headingDeg);
    m_runway.bind(5, end.lat);
    m_runway.bind(6, end.lon);
    m_runway.bind(7, end.surface);
    return run(m_runway);
}

bool SceneryWriter::writeFrequency(const QString &icao, const QString &type, double mhz, const QString &name)
{
    m_frequency.bind(0, icao);
    m_frequency.bind(1, type);
    m_frequency.bind(2, mhz);
    m_frequency.bind(3, name);
    return run(m_frequency);
}

bool SceneryWriter::writeTower(const QString &icao, double lat, double lon, double mhz, const QString &name)
{
    m_tower.bind(0, icao);
    m_tower.bind(1, lat);
    m_tower.bind(2, lon);
    m_tower.bind(3, mhz);
    m_tower.bind(4, name);
    return run(m_tower);
}

bool SceneryWriter::writeParking(const QString &icao, const QString &name, const QString &type, double lat, double lon,
                                 double headingDeg)
{
    m_parking.bind(0, icao);
    m_parking.bind(1, name);
    m_parking.bind(2, type);
    m_parking.bind(3, lat);
    m_parking.bind(4, lon);
    m_parking.bind(5, headingDeg);
    return run(m_parking);
}

bool SceneryWriter::writeNode(const QString &icao, int id, double lat, double lon, const QString &type,
                              const QString &name)
{
    m_node.bind(0, icao);
    m_node.bindInt(1, id);
    m_node.bind(2, lat);
    m_node.bind(3, lon);
    m_node.bind(4, type);
    if (m_source == Source::AptDat)
        m_node.bind(5, name);
    return run(m_node);
}

bool SceneryWriter::writeEdge(const QString &icao, int from, int to, const QString &direction,
                              const QString &restriction, const QString &name)
{
    m_edge.bind(0, icao);
    m_edge.bindInt(1, from);
    m_edge.bindInt(2, to);
    m_edge.bind(3, direction);
    m_edge.bind(4, restriction);
    m_edge.bind(5, name);
    return run(m_edge);
}

bool SceneryWriter::run(CachedInsert &insert)
{
    if (insert.exec())
        return true;
    m_error = insert.errorText();
    return false;
}

#pragma once

#include "nav/importsession.h"

#include <QString>

// Writes the airport tables that both scenery sources fill, X-Plane's apt.dat files and BGL
// scenery records: airports, runway ends, COM frequencies, towers, parkings and taxi networks.
// One writer per import, on the import's session and thread; rows go in as they are handed over.
//
// The two sources differ in two statements only: apt.dat frequencies replace an airport's row of
// the same service and taxi nodes carry a name; scenery records insert frequencies plainly (their
// import clears the airport's frequencies first) and have no node names.
class SceneryWriter
{
public:
    enum class Source { AptDat, SceneryRecords };

    struct Airport
    {
        QString icao;
        QString name;
        double lat = 0.0;
        double lon = 0.0;
        int elevationFt = 0;
        bool hasTower = false;
        int runwayCount = 0;
    };
    struct RunwayEnd
    {
        QString ident;
        int lengthFt = 0;
        int widthFt = 0;
        double headingDeg = 0.0;
        double lat = 0.0;
        double lon = 0.0;
        QString surface;
    };

    // Prepares the statements on the session's open connection; false with the session failed.
    bool prepare(navimport::ImportSession &session, Source source);

    // Each returns false with errorText() set when its row could not be written.
    bool writeAirport(const Airport &airport);
    bool writeRunwayEnd(const QString &icao, const RunwayEnd &end);
    bool writeFrequency(const QString &icao, const QString &type, double mhz, const QString &name);
    bool writeTower(const QString &icao, double lat, double lon, double mhz, const QString &name);
    bool writeParking(const QString &icao, const QString &name, const QString &type, double lat, double lon,
                      double headingDeg);
    bool writeNode(const QString &icao, int id, double lat, double lon, const QString &type, const QString &name);
    bool writeEdge(const QString &icao, int from, int to, const QString &direction, const QString &restriction,
                   const QString &name);

    QString errorText() const { return m_error; }
    int airports() const { return m_airport.rows(); }
    int runwayEnds() const { return m_runway.rows(); }
    int frequencies() const { return m_frequency.rows(); }
    int parkings() const { return m_parking.rows(); }
    int nodes() const { return m_node.rows(); }

private:
    bool run(navimport::CachedInsert &insert);

    Source m_source = Source::AptDat;
    navimport::CachedInsert m_airport;
    navimport::CachedInsert m_runway;
    navimport::CachedInsert m_frequency;
    navimport::CachedInsert m_tower;
    navimport::CachedInsert m_parking;
    navimport::CachedInsert m_node;
    navimport::CachedInsert m_edge;
    QString m_error;
};

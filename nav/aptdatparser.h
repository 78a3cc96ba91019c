#pragma once

#include <QByteArrayView>
#include <QSet>
#include <QString>

#include <vector>

// One airport of an X-Plane apt.dat file as the database builder stores it. Positions are decimal
// degrees, lengths, widths and elevations feet, headings degrees true, frequencies MHz.
struct AptAirport
{
    struct Runway
    {
        QString ident;
        int lengthFt = 0;
        int widthFt = 0;
        double headingDeg = 0.0;
        double lat = 0.0; // this end
        double lon = 0.0;
        QString surface;
    };
    struct Frequency
    {
        QString type; // "ATIS", "CTAF", "CLD", "GND", "TWR", "APP", "DEP"
        double mhz = 0.0;
        QString name;
    };
    struct Parking
    {
        QString name;
        QString type; // "GATE", "HANGAR", "MISC", "TIE_DOWN"
        double lat = 0.0;
        double lon = 0.0;
        double headingDeg = 0.0;
    };
    struct Node
    {
        int id = 0;
        double lat = 0.0;
        double lon = 0.0;
        QString usage; // "dest", "init", "both", "junc"
        QString name;
    };
    struct Edge
    {
        int from = 0;
        int to = 0;
        QString direction;   // "oneway", "twoway"
        QString restriction; // "runway", "taxiway", "taxiway_A".."taxiway_F"
        QString name;
    };

    QString icao;
    QString name;
    double lat = 0.0;
    double lon = 0.0;
    int elevationFt = 0;
    int runwayCount = 0; // physical runways and helipads; each runway has two rows in runways
    bool hasTower = false;
    double towerLat = 0.0;
    double towerLon = 0.0;
    double towerMhz = 0.0;
    QString towerName;
    std::vector<Runway> runways;
    std::vector<Frequency> frequencies;
    std::vector<Parking> parkings;
    std::vector<Node> nodes;
    std::vector<Edge> edges;
};

// Turns the data rows of apt.dat files (versions 1000 to 1200; the "I" and version lines and the
// closing "99" are the caller's) into AptAirport records, airport by airport.
//
// Files are fed in precedence order, highest first: an ident already in the shared set of seen
// idents (from this or an earlier file) hides the airport and all of its rows. Unknown row codes
// and malformed rows are skipped and counted; rows the station does not use (pavement, lines,
// signs, lights, flows, trucks) are passed over. Single-threaded; not a QObject.
class AptDatParser
{
public:
    explicit AptDatParser(QSet<QString> *seenIdents);

    // One data row without its line end. A completed airport is appended to out.
    void addRow(QByteArrayView row, std::vector<AptAirport> *out);
    // Counts a row the reader could not deliver (for example an over-long line).
    void addUnreadableRow() { ++m_skipped; }
    // Completes the last airport of a file.
    void finishFile(std::vector<AptAirport> *out);

    int skippedRows() const { return m_skipped; }
    int hiddenAirports() const { return m_hidden; }

private:
    enum class State { BeforeAirport, InAirport, Hidden };

    void startAirport(int code, QByteArrayView row);
    void finishAirport(std::vector<AptAirport> *out);
    bool readRow(int code, QByteArrayView row);
    bool readRunway(QByteArrayView row);
    bool readWaterRunway(QByteArrayView row);
    bool readHelipad(QByteArrayView row);
    bool readFrequency(int code, QByteArrayView row);
    bool readTower(QByteArrayView row);
    bool readStartLocation(QByteArrayView row);
    bool readParking(QByteArrayView row);
    bool readMetadata(QByteArrayView row);
    bool readNode(QByteArrayView row);
    bool readEdge(QByteArrayView row);
    void notePosition(QByteArrayView row);
    void addRunwayEnd(const QString &ident, double lat, double lon, double otherLat, double otherLon, int widthFt,
                      const QString &surface);

    QSet<QString> *m_seen;
    State m_state = State::BeforeAirport;
    AptAirport m_airport;
    bool m_hasDatumLat = false;
    bool m_hasDatumLon = false;
    double m_datumLat = 0.0;
    double m_datumLon = 0.0;
    bool m_hasTowerPosition = false;
    // The first coordinate any row of the airport gave (a windsock, a sign, a pavement node):
    // the last resort for airports without runways or a datum.
    bool m_hasAnyPosition = false;
    double m_anyLat = 0.0;
    double m_anyLon = 0.0;
    // Legacy start locations count only when the airport has no ramp starts of the current kind.
    std::vector<AptAirport::Parking> m_startLocations;
    int m_skipped = 0;
    int m_hidden = 0;
};

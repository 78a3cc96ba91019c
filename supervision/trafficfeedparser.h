#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QString>

#include <optional>

// One pilot of the online network's traffic feed. Positions degrees, altitude feet MSL, ground
// speed knots, heading degrees. The feed's names and network ids are deliberately not kept.
struct TrafficPilot
{
    QString callsign;
    QString aircraftType; // ICAO type from the flight plan, empty without one
    double lat = 0.0;
    double lon = 0.0;
    double altitudeFt = 0.0;
    double groundSpeedKts = 0.0;
    double headingDeg = 0.0;
    QString transponder;
    QString departure;
    QString arrival;
};

// One controller or ATIS station (observers are left out). Its position is not in the feed; the
// station places it from the sector files or the navigation data.
struct TrafficController
{
    QString callsign;
    QString frequency; // MHz as the feed writes it
    int facility = 0;  // 1 FSS, 2 DEL, 3 GND, 4 TWR, 5 APP, 6 CTR
    int visualRangeNm = 0;
    bool atis = false;
};

struct TrafficSnapshot
{
    QString updateTimestamp; // the feed's general.update_timestamp, compared as text
    QList<TrafficPilot> pilots;
    QList<TrafficController> controllers;
    int skippedRecords = 0; // pilots or controllers whose record could not be used
};

// Reads the online network's data feed, version 3 (JSON): general, pilots, controllers and atis.
// A reply that is not such a document is refused as a whole (with the reason, which never quotes
// the reply); within a good document a record with a missing or impossible position or callsign
// is skipped and counted. Stateless; safe on any thread.
namespace TrafficFeedParser {

std::optional<TrafficSnapshot> parse(const QByteArray &bytes, QString *error);

} // namespace TrafficFeedParser

Q_DECLARE_METATYPE(TrafficPilot)
Q_DECLARE_METATYPE(TrafficController)

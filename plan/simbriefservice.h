#pragma once

#include <QByteArray>
#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;

// Imports an operational flight plan (OFP) from the SimBrief flight-planning service, by the
// pilot's user name (the service's XML fetcher, on its public host or on the host the settings
// name) or from any URL, parses its XML into OFPData and reports it with ofpReceived; every
// failure ends in one ofpError.
//
// Two document shapes are read. In a flat document each value is an element whose text follows
// its start tag ("origin", "flightlevel", "fuel_plan_ramp" ...). The service's own OFPs group the
// values in sections (origin/icao_code, general/route, fuel/plan_ramp, weights/payload ...):
// when a document has those sections they are what counts, the navigation log gives the fix list
// without the TOC and TOD pseudo-fixes, and the weights keep the unit of params/units.
//
// Created by the planning services on the GUI thread; replies arrive through its own network
// manager and are deleted later. Replies larger than kMaxReplyBytes are abandoned.
class SimBriefService : public QObject
{
    Q_OBJECT
public:
    static constexpr char kDefaultHost[] = "https://www.simbrief.com";
    static constexpr char kHostKey[] = "simbriefHost";
    static constexpr char kUserNameKey[] = "simbriefUser";
    static constexpr char kFetcherPath[] = "/api/xml.fetcher.php";
    static constexpr qint64 kMaxReplyBytes = 16 * 1024 * 1024;
    static constexpr double kKgPerLb = 0.45359237;

    // One navigation-log entry of a sectioned OFP.
    struct OFPFix
    {
        QString ident;
        QString type; // "wpt", "vor", "ndb", "apt", "ltlg" ...
        double lat = 0.0;
        double lon = 0.0;
        QString airway; // "DCT" when direct; a SID/STAR name for procedure points
        int altitudeFt = 0;
        bool sidStar = false;
    };

    struct OFPData
    {
        QString origin;
        QString destination;
        QString route;
        QString aircraftIcao;
        QString aircraftName;
        int flightLevel = 0;
        int cruiseTas = 0;        // knots
        double distance = 0.0;    // nautical miles
        int estGroundTimeMin = 0; // block time, gate to gate
        int estFlightTimeMin = 0; // airborne time
        double rampFuel = 0.0;    // in weightUnit
        double payload = 0.0;
        double zfw = 0.0;
        double tow = 0.0;
        double ldw = 0.0;
        QString fixList; // identifiers joined by single spaces
        bool valid = false;

        // Sectioned documents only: the weight unit ("kgs" or "lbs"), the planned runways, the
        // airports' positions and the navigation log with positions.
        QString weightUnit;
        QString originRunway;
        QString destinationRunway;
        double originLat = 0.0;
        double originLon = 0.0;
        double destinationLat = 0.0;
        double destinationLon = 0.0;
        bool hasAirportPositions = false;
        QList<OFPFix> fixes;

        // The weights in kilograms: "lbs" converted, anything else taken as kilograms.
        double toKg(double weight) const;
    };

    explicit SimBriefService(QObject *parent = nullptr);

    // The fetcher's host; tests and mirrors point it at another server.
    void setHost(const QUrl &host);
    QUrl host() const { return m_host; }

    void fetchOFP(const QString &username);
    void importFromUrl(const QString &url);

    // Parses one OFP document (either shape). Never fails: the result's valid flag says whether an
    // origin and a destination were found.
    static OFPData parseOFP(const QByteArray &xml);

signals:
    void ofpReceived(const SimBriefService::OFPData &ofp);
    void ofpError(const QString &error);

private:
    void get(const QUrl &url);
    void onReplyFinished(QNetworkReply *reply);

    QNetworkAccessManager *m_network = nullptr;
    QUrl m_host;
};

Q_DECLARE_METATYPE(SimBriefService::OFPData)

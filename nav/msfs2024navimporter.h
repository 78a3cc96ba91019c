#pragma once

#include "sim/simconnect/simconnectfacility.h"
#include "sim/simconnect/simconnectsession.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QQueue>
#include <QSet>
#include <QString>
#include <QStringList>

class QTimer;

// Builds the MSFS 2024 navigation database by asking the running simulator through SimConnect's
// facility interface, over the station's open session: the airport list, then per airport in
// batches its counts, base data, frequencies, runways and procedures, then a breadth-first walk
// from the fixes the procedures and runways name along the airway routes, and finally the write
// of everything into a new database file that replaces the old one only when it is complete.
// One airport's ground layout can be fetched on demand for its diagram.
//
// Every request's send id is claimed from the session, so an EXCEPTION names the facility that
// failed; a failed facility is left out and counted, the rest of its batch goes on. A batch is
// complete when its ends and exceptions together equal its requests. Runs on the session's
// thread, driven by the session's message pump; importToDatabase() returns at once and the end
// is importFinished(). Messages carry the source tag "Msfs2024".
class Msfs2024NavImporter : public QObject, private ISimConnectFacilityListener
{
    Q_OBJECT
public:
    enum Phase {
        Idle = 0,
        RegisterDefinitions = 1,
        AirportList = 2,
        AirportCounts = 3,
        AirportBase = 4,
        Frequencies = 5,
        Runways = 6,
        Procedures = 7,
        Navaids = 8,
        Writing = 9,
        Done = 10,
    };
    // One airway segment between two navaids found by the walk (keys of navaidKey).
    struct AirwaySegment
    {
        QString name;
        int routeType = 0; // 1 low (victor), 2 high (jet), 3 both
        QString fromKey;
        QString toKey;
    };

    explicit Msfs2024NavImporter(QObject *parent = nullptr);
    ~Msfs2024NavImporter() override;

    // The open session to ask; not owned.
    void setSession(SimConnectSession *session);
    // Airports per batch of requests in phases 3 to 7 and navaids per batch of the walk.
    void setBatchSize(int batchSize) { m_batchSize = qMax(1, batchSize); }
    // A phase that hears nothing from the simulator for this long fails.
    void setReplyTimeoutMs(int timeoutMs) { m_replyTimeoutMs = timeoutMs; }

    // Starts a whole import into path; false when no open session offers the facility interface
    // or an import is already running.
    bool importToDatabase(const QString &path);
    void cancel();
    bool isRunning() const { return m_phase != Idle; }
    Phase phase() const { return m_phase; }
    static QString phaseText(Phase phase);

    bool registerFacilityDefinitions();
    bool requestAirportList();
    bool requestNavaids(bool first);
    static QString navaidKey(const QString &ident, const QString &region, char type);

    // Writes everything fetched into path in one step (a new file moved over the old one), keeping
    // the airport diagrams path already holds; false, with the reason logged, when it could not.
    bool writeAllToDatabase(const QString &path);

    // Fetches one airport's ground layout; taxiFetched(icao, ok) follows.
    bool requestAirportTaxi(const QString &icao, double lat, double lon);
    // Writes the last fetched ground layout into path, replacing that airport's rows; false when
    // the airport has no layout or the write failed.
    bool writeTaxiToDatabase(const QString &path);

    // What was fetched (kept after the import for inspection).
    const QList<simconnect::FacilityNode> &airports() const { return m_airports; }
    const QHash<QString, simconnect::FacilityNode> &navaids() const { return m_navaids; }
    const QList<AirwaySegment> &airwaySegments() const { return m_airways; }
    // "what: EXCEPTION" for every facility the simulator refused.
    const QStringList &failures() const { return m_failures; }

signals:
    void phaseStarted(int phase, const QString &text);
    void importProgress(const QString &stage, int current, int total);
    void importFinished(const QString &message, bool success);
    void taxiFetched(const QString &icao, bool ok);

private:
    struct Request
    {
        uint32_t requestId = 0;
        uint32_t sendId = 0;
        QString what; // airport ident or navaid key, for messages
        int airport = -1;
        QString navaid;
        bool taxi = false;
    };

    void facilityMessage(const simconnect::Message &message) override;
    void facilityException(const simconnect::ExceptionInfo &exception) override;

    void startPhase(Phase phase);
    bool addDefinition(uint32_t defineId, const QStringList &lines, simconnect::FacilityDefinition *definition);
    void requestAirports(int first, Phase phase, const QString &label);
    void requestNextAirportBatch();
    bool wantsAirport(Phase phase, const simconnect::FacilityNode &airport) const;
    bool sendRequest(uint32_t defineId, const simconnect::FacilityDefinition *definition, const QString &icao,
                     const QString &region, char type, Request request);
    void requestDone();
    void storeAirport(int index, const simconnect::FacilityNode &node);
    void storeNavaid(const QString &key, const simconnect::FacilityNode &node);
    void enqueueNavaid(const QString &ident, const QString &region, int type);
    void handleAirportList(const simconnect::Message &message);
    void finishImport();
    void fail(const QString &message);
    void endRun();
    void onReplyTimeout();

    QPointer<SimConnectSession> m_session;
    Phase m_phase = Idle;
    QString m_path;
    int m_batchSize = 100;
    int m_replyTimeoutMs = 30000;
    QTimer *m_replyTimer = nullptr;
    bool m_definitionsRegistered = false;
    simconnect::FacilityDefinition m_countsDefinition;
    simconnect::FacilityDefinition m_baseDefinition;
    simconnect::FacilityDefinition m_frequencyDefinition;
    simconnect::FacilityDefinition m_runwayDefinition;
    simconnect::FacilityDefinition m_procedureDefinition;
    simconnect::FacilityDefinition m_waypointDefinition;
    simconnect::FacilityDefinition m_vorDefinition;
    simconnect::FacilityDefinition m_ndbDefinition;
    simconnect::FacilityDefinition m_taxiDefinition;
    bool m_taxiRegistered = false;
    bool m_taxiRun = false;
    QHash<uint32_t, QString> m_definitionCalls; // send id -> definition line, while registering
    simconnect::FacilityTreeAssembler m_assembler;

    uint32_t m_listRequest = 0;
    QHash<uint32_t, simconnect::FacilityListInfo> m_listPackets; // by entry number
    uint32_t m_listPacketCount = 0;

    QHash<uint32_t, Request> m_requests; // request id -> request
    QHash<uint32_t, uint32_t> m_sendToRequest;
    uint32_t m_nextRequestId = 1;
    int m_batchOutstanding = 0;
    int m_nextAirport = 0;
    int m_airportsDone = 0;
    int m_airportsWanted = 0;
    QString m_phaseLabel;

    QList<simconnect::FacilityNode> m_airports;
    QHash<QString, simconnect::FacilityNode> m_navaids;
    QQueue<QString> m_navaidQueue;
    QSet<QString> m_navaidsSeen; // queued or fetched: each requested once
    QList<AirwaySegment> m_airways;
    QStringList m_failures;

    QString m_taxiIcao;
    double m_taxiLat = 0;
    double m_taxiLon = 0;
    std::optional<simconnect::FacilityNode> m_taxi;
};

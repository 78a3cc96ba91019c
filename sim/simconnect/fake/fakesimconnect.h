#pragma once

#include "sim/simconnect/isimconnect.h"
#include "sim/simconnect/simconnectdatadefinition.h"
#include "sim/simconnect/simconnectfacility.h"

#include <QHash>
#include <QPointer>
#include <QQueue>
#include <QRandomGenerator>
#include <QString>

class FakeSimWorld;

// One client connection to a FakeSimWorld, through the same port the real library sits behind.
// It keeps what the client registered (data definitions, periodic requests with their period,
// interval and CHANGED flag, mapped events, system-event subscriptions), answers with messages
// built by the shared encoders (so the client decodes them with the real decoders), applies
// set-data and events to the world, and raises an EXCEPTION with the call's send id where a real
// simulator would: unknown variable or event names, units of the wrong dimension, unknown ids,
// a variable that cannot be written, a flight plan that cannot be read, an unreadable METAR.
//
// Not a QObject: owned by whoever holds the port (a session); the world it plays may go first.
class FakeSimConnect : public ISimConnect
{
public:
    explicit FakeSimConnect(FakeSimWorld *world);
    ~FakeSimConnect() override;

    bool open(const QString &appName, uint32_t configIndex, QString *error) override;
    void close() override;
    bool isOpen() const override { return m_open; }
    std::optional<simconnect::Message> nextMessage() override;
    bool linkLost() const override { return m_lost; }
    bool supports(Capability capability) const override;
    QString description() const override;

    Result addToDataDefinition(uint32_t defineId, const QString &datum, const QString &units, simconnect::DataType type,
                               float epsilon, uint32_t datumId) override;
    Result clearDataDefinition(uint32_t defineId) override;
    Result requestDataOnSimObject(uint32_t requestId, uint32_t defineId, uint32_t objectId, simconnect::Period period,
                                  uint32_t flags, uint32_t origin, uint32_t interval, uint32_t limit) override;
    Result requestDataOnSimObjectType(uint32_t requestId, uint32_t defineId, uint32_t radiusM,
                                      simconnect::SimObjectType type) override;
    Result setDataOnSimObject(uint32_t defineId, uint32_t objectId, const QByteArray &data) override;
    Result mapClientEventToSimEvent(uint32_t eventId, const QString &name) override;
    Result transmitClientEvent(uint32_t objectId, uint32_t eventId, uint32_t data, uint32_t groupOrPriority,
                               uint32_t flags) override;
    Result subscribeToSystemEvent(uint32_t eventId, const QString &name) override;
    Result requestSystemState(uint32_t requestId, const QString &state) override;
    Result flightPlanLoad(const QString &path) override;
    Result weatherRequestObservationAtNearestStation(uint32_t requestId, float lat, float lon) override;
    Result weatherSetModeCustom() override;
    Result weatherSetModeGlobal() override;
    Result weatherSetObservation(uint32_t seconds, const QString &metar) override;
    Result cameraSetRelative6Dof(float dx, float dy, float dz, float pitchDeg, float bankDeg,
                                 float headingDeg) override;
    Result addToFacilityDefinition(uint32_t defineId, const QString &field) override;
    Result requestFacilitiesList(simconnect::FacilityListType type, uint32_t requestId) override;
    Result requestAllFacilities(simconnect::FacilityListType type, uint32_t requestId) override;
    Result requestFacilityData(uint32_t defineId, uint32_t requestId, const QString &icao, const QString &region,
                               char type) override;

    // Called by the world.
    void deliverQuit();
    void deliverSystemEvent(const QString &name, uint32_t data);
    void breakLink();
    void worldGone();

    // Messages waiting to be pulled (for tests of the failure knobs).
    int queuedMessages() const { return int(m_queue.size()); }

private:
    struct Request
    {
        uint32_t defineId = 0;
        simconnect::Period period = simconnect::Period::Never;
        uint32_t flags = 0;
        uint32_t interval = 0;
        qint64 lastSentMs = -1;
        QByteArray lastData;
    };
    // A call that is to go ahead gets its send id; one the world was told to fail, or one on a
    // closed link, does not (ok false in the first case means "answered with an exception").
    struct Call
    {
        bool proceed = false;
        Result result;
    };

    Call begin(const QString &function, std::optional<Capability> needed = std::nullopt);
    Result raise(const Result &result, simconnect::ExceptionCode code, uint32_t index = simconnect::kUnused);
    // Facility answers wait here, one list per request, until the client pulls: then they are
    // queued interleaved (and each request's objects shuffled) when the world says so.
    void holdReply(QList<QByteArray> reply);
    void releaseReplies();
    void answerFacilityList(simconnect::FacilityListType type, uint32_t requestId);
    void packFacility(const simconnect::FacilityDefinition &definition, int block, const simconnect::FacilityNode &node,
                      uint32_t requestId, uint32_t parentId, uint32_t itemIndex, uint32_t listSize, bool listItem,
                      QList<QByteArray> *out);
    void queue(const QByteArray &packet);
    void produceDue();
    QByteArray dataFor(const simconnect::DataDefinition &definition) const;
    void sendData(uint32_t requestId, Request &request, bool onlyIfChanged);

    QPointer<FakeSimWorld> m_world;
    bool m_open = false;
    bool m_lost = false;
    uint32_t m_sendId = 0;
    QQueue<QByteArray> m_queue;
    QHash<uint32_t, simconnect::DataDefinition> m_definitions;
    QHash<uint32_t, Request> m_requests;
    QHash<uint32_t, QString> m_events; // client event id -> name
    QHash<QString, uint32_t> m_systemEvents;
    QHash<uint32_t, simconnect::FacilityDefinition> m_facilityDefinitions;
    QList<QList<QByteArray>> m_heldReplies;
    uint32_t m_nextObjectId = 1;
    QRandomGenerator m_replyOrder{7};
};

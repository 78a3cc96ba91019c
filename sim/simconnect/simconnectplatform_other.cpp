#include "sim/simconnect/simconnectplatform.h"

namespace {

// SimConnect's client library exists for Windows only; here every call is refused and open()
// says why, through the same failure path a missing library takes on Windows.
class UnavailableSimConnect : public ISimConnect
{
public:
    explicit UnavailableSimConnect(SimType type) : m_type(type) {}

    bool open(const QString &, uint32_t, QString *error) override
    {
        if (error)
            *error = QStringLiteral("SimConnect is not available on this platform");
        return false;
    }
    void close() override {}
    bool isOpen() const override { return false; }
    std::optional<simconnect::Message> nextMessage() override { return std::nullopt; }
    bool linkLost() const override { return false; }
    bool supports(Capability) const override { return false; }
    QString description() const override
    {
        return QStringLiteral("no SimConnect for %1 on this platform").arg(simTypeName(m_type));
    }

    Result addToDataDefinition(uint32_t, const QString &, const QString &, simconnect::DataType, float,
                               uint32_t) override
    {
        return {};
    }
    Result clearDataDefinition(uint32_t) override { return {}; }
    Result requestDataOnSimObject(uint32_t, uint32_t, uint32_t, simconnect::Period, uint32_t, uint32_t, uint32_t,
                                  uint32_t) override
    {
        return {};
    }
    Result requestDataOnSimObjectType(uint32_t, uint32_t, uint32_t, simconnect::SimObjectType) override { return {}; }
    Result setDataOnSimObject(uint32_t, uint32_t, const QByteArray &) override { return {}; }
    Result mapClientEventToSimEvent(uint32_t, const QString &) override { return {}; }
    Result transmitClientEvent(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) override { return {}; }
    Result subscribeToSystemEvent(uint32_t, const QString &) override { return {}; }
    Result requestSystemState(uint32_t, const QString &) override { return {}; }
    Result flightPlanLoad(const QString &) override { return {}; }
    Result weatherRequestObservationAtNearestStation(uint32_t, float, float) override { return {}; }
    Result weatherSetModeCustom() override { return {}; }
    Result weatherSetModeGlobal() override { return {}; }
    Result weatherSetObservation(uint32_t, const QString &) override { return {}; }
    Result cameraSetRelative6Dof(float, float, float, float, float, float) override { return {}; }
    Result addToFacilityDefinition(uint32_t, const QString &) override { return {}; }
    Result requestFacilitiesList(simconnect::FacilityListType, uint32_t) override { return {}; }
    Result requestAllFacilities(simconnect::FacilityListType, uint32_t) override { return {}; }
    Result requestFacilityData(uint32_t, uint32_t, const QString &, const QString &, char) override { return {}; }

private:
    SimType m_type;
};

} // namespace

std::unique_ptr<ISimConnect> createSystemSimConnect(SimType type, const QString &)
{
    return std::make_unique<UnavailableSimConnect>(type);
}

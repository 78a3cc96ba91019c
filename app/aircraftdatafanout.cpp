#include "app/aircraftdatafanout.h"

#include <algorithm>

AircraftDataFanOut::AircraftDataFanOut(QObject *parent) : QObject(parent) {}

void AircraftDataFanOut::addConsumer(QObject *consumer, Handler handler)
{
    Q_ASSERT(consumer && handler);
    for (Consumer &existing : m_consumers) {
        if (existing.object == consumer) {
            existing.handler = std::move(handler);
            return;
        }
    }
    m_consumers.push_back({consumer, std::move(handler)});
    connect(consumer, &QObject::destroyed, this, [this, consumer] { removeConsumer(consumer); });
}

void AircraftDataFanOut::removeConsumer(QObject *consumer)
{
    if (consumer)
        disconnect(consumer, &QObject::destroyed, this, nullptr);
    // A destroyed consumer's QPointer is already null, so null entries go too.
    m_consumers.erase(
        std::remove_if(m_consumers.begin(), m_consumers.end(),
                       [consumer](const Consumer &c) { return c.object.isNull() || c.object == consumer; }),
        m_consumers.end());
}

int AircraftDataFanOut::consumerCount() const
{
    return static_cast<int>(
        std::count_if(m_consumers.begin(), m_consumers.end(), [](const Consumer &c) { return !c.object.isNull(); }));
}

void AircraftDataFanOut::publish(const AircraftData &data)
{
    // A handler may add or remove consumers (a panel closing itself); work on a snapshot and skip
    // the ones destroyed meanwhile.
    const std::vector<Consumer> consumers = m_consumers;
    for (const Consumer &consumer : consumers) {
        if (!consumer.object.isNull())
            consumer.handler(data);
    }
}

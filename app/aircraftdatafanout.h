#pragma once

#include "sim/aircraftdata.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <vector>

// Hands every aircraft-state sample to each registered consumer exactly once. The main window
// connects the backend manager's aircraftDataChanged to publish() once, and every consumer
// (panels now, the map, recorder and alerts later) registers here instead of connecting to the
// manager itself, so switching backends or registering twice can never double a sample.
//
// Owned by the main window, GUI thread only. Consumers are not owned: one that is destroyed
// simply drops out.
class AircraftDataFanOut : public QObject
{
    Q_OBJECT
public:
    using Handler = std::function<void(const AircraftData &)>;

    explicit AircraftDataFanOut(QObject *parent = nullptr);

    // Registers consumer with handler. Registering a consumer again replaces its handler.
    void addConsumer(QObject *consumer, Handler handler);
    void removeConsumer(QObject *consumer);
    int consumerCount() const;

public slots:
    void publish(const AircraftData &data);

private:
    struct Consumer
    {
        QPointer<QObject> object;
        Handler handler;
    };
    std::vector<Consumer> m_consumers;
};

#pragma once

#include "tools/xpsim/datarefstore.h"

#include <QHash>
#include <QString>

#include <functional>

class FlightModel;
struct AircraftState;

// Speaks X-Plane's names for the demo flight model: publishes its state as datarefs (the names
// and units X-Plane 11 uses) into a DatarefStore, routes dataref writes to the model inputs they
// stand for (X-Plane 11's and X-Plane 12's weather names both), and runs the commands the
// simulator knows. Failure datarefs it does not model are left to the session to refuse.
//
// Created by the simulator session; borrows the FlightModel, which must outlive it.
// Single-threaded.
class XpBinding
{
public:
    explicit XpBinding(FlightModel *model);

    void publish(DatarefStore &store) const;
    // Whether publish() produces this dataref element (for example element 0 of a wind layer
    // array, but not elements 1 and 2, which a client may keep for itself).
    bool publishes(const DatarefStore::Ref &ref) const { return ref.element() < m_publishedSizes.value(ref.name); }
    // Feeds a written value into the model. false when the dataref is read-only, not modelled,
    // or the value does not apply (for example a frequency outside the radio's band).
    bool applyWrite(const DatarefStore::Ref &ref, double value);
    // false for commands the simulator does not model.
    bool runCommand(const QString &path);

private:
    using Writer = std::function<bool(FlightModel &, int element, double value)>;

    void addControlWriters();
    void addRadioWriters();
    void addAutopilotWriters();
    void addWeightAndPositionWriters();
    // In xpinstructorwrites.cpp: what an instructor station writes besides the cockpit inputs.
    void addWeatherWriters();
    void addFailureWriters();
    void addFreezeWriters();
    static void publishSystems(const AircraftState &a, DatarefStore &store);

    FlightModel *m_model;
    QHash<QString, Writer> m_writers;
    QHash<QString, int> m_publishedSizes;
};

#pragma once

#include "tools/xpsim/datarefstore.h"
#include "tools/xpsim/flightmodel.h"
#include "tools/xpsim/xpbinding.h"

#include <QElapsedTimer>
#include <QObject>
#include <QSet>
#include <QTimer>

class QHostAddress;
class XpUdpServer;

// One running demo simulator: the flight model, the datarefs it publishes, and the UDP server
// that clients talk to. A 50 ms timer advances the model by the real time elapsed (times the time
// factor) and publishes its state; writes, commands and repositions from the server are fed into
// the model. A write the model does not take is stored as a plain dataref for later reads, except
// a failure dataref, which is refused and logged once as X-Plane would have no such failure.
//
// Created by main() and lives for the whole process; everything it owns is its child or member.
// Single-threaded (the main event loop).
class SimSession : public QObject
{
    Q_OBJECT
public:
    static constexpr int kTickMs = 50;
    // Failure datarefs the model does not simulate are refused, not stored.
    static constexpr char kFailurePrefix[] = "sim/operation/failures/";
    static constexpr int kMaxRefusedFailures = 1000;

    explicit SimSession(const FlightModel::Options &options, QObject *parent = nullptr);

    // Binds the UDP port and starts the model clock. false on failure, see errorString().
    bool start(const QHostAddress &address, quint16 port);
    QString errorString() const;
    // Simulated seconds per real second (1 = real time). Each tick still advances by at most the
    // model's one-second limit, so a very slow tick runs the model slower than asked.
    void setTimeFactor(double factor) { m_timeFactor = factor; }
    XpUdpServer *server() const { return m_server; }

private slots:
    void onTick();
    void onDatarefWritten(const QString &name, int index, double value);
    void onCommandReceived(const QString &path);
    void onRepositionRequested(double latDeg, double lonDeg, double elevationM, double headingDegTrue, double speedMps);

private:
    void logPhase();

    FlightModel m_model;
    DatarefStore m_store;
    XpBinding m_binding;
    XpUdpServer *m_server;
    QTimer m_tickTimer;
    QElapsedTimer m_clock;
    qint64 m_lastTickNs = 0;
    double m_timeFactor = 1.0;
    CircuitPilot::Phase m_loggedPhase;
    QSet<QString> m_refusedFailures;
};

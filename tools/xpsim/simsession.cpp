#include "tools/xpsim/simsession.h"

#include "tools/xpsim/xpsimlog.h"
#include "tools/xpsim/xpudpserver.h"

#include <QHostAddress>

SimSession::SimSession(const FlightModel::Options &options, QObject *parent)
    : QObject(parent), m_model(options), m_binding(&m_model), m_server(new XpUdpServer(&m_store, this)),
      m_loggedPhase(m_model.phase())
{
    m_binding.publish(m_store);
    m_tickTimer.setTimerType(Qt::PreciseTimer);
    m_tickTimer.setInterval(kTickMs);
    connect(&m_tickTimer, &QTimer::timeout, this, &SimSession::onTick);
    connect(m_server, &XpUdpServer::datarefWritten, this, &SimSession::onDatarefWritten);
    connect(m_server, &XpUdpServer::commandReceived, this, &SimSession::onCommandReceived);
    connect(m_server, &XpUdpServer::repositionRequested, this, &SimSession::onRepositionRequested);
}

bool SimSession::start(const QHostAddress &address, quint16 port)
{
    if (!m_server->listen(address, port))
        return false;
    m_clock.start();
    m_lastTickNs = m_clock.nsecsElapsed();
    m_tickTimer.start();
    qCInfo(lcXpSim).noquote() << "flight phase:" << CircuitPilot::phaseName(m_model.phase());
    return true;
}

QString SimSession::errorString() const
{
    return m_server->errorString();
}

void SimSession::onTick()
{
    const qint64 now = m_clock.nsecsElapsed();
    const double dtS = double(now - m_lastTickNs) / 1.0e9 * m_timeFactor;
    m_lastTickNs = now;
    m_model.advance(dtS);
    m_binding.publish(m_store);
    logPhase();
}

void SimSession::logPhase()
{
    if (m_model.phase() == m_loggedPhase)
        return;
    m_loggedPhase = m_model.phase();
    qCInfo(lcXpSim).noquote() << "flight phase:" << CircuitPilot::phaseName(m_loggedPhase);
}

void SimSession::onDatarefWritten(const QString &name, int index, double value)
{
    const DatarefStore::Ref ref{name, index};
    const QString path = index < 0 ? name : QStringLiteral("%1[%2]").arg(name).arg(index);
    if (m_binding.applyWrite(ref, value)) {
        m_binding.publish(m_store);
        qCDebug(lcXpSim).noquote() << "DREF" << path << "=" << value << "(applied)";
    } else if (m_binding.publishes(ref)) {
        // Like X-Plane, a write to a value the simulation computes (or an unusable value for an
        // input) changes nothing.
        qCDebug(lcXpSim).noquote() << "DREF" << path << "=" << value << "ignored: read-only or out of range";
    } else if (ref.name.startsWith(QLatin1String(kFailurePrefix))) {
        // Like X-Plane without such a failure: the write goes nowhere. Said once per name (and
        // for a bounded number of names, so a client cannot fill the log or the memory).
        if (!m_refusedFailures.contains(ref.name) && m_refusedFailures.size() < kMaxRefusedFailures) {
            m_refusedFailures.insert(ref.name);
            qCWarning(lcXpSim).noquote() << "DREF" << path << "ignored: failure not simulated";
        }
    } else if (m_store.write(ref, value)) {
        qCDebug(lcXpSim).noquote() << "DREF" << path << "=" << value << "(stored)";
    } else {
        qCDebug(lcXpSim).noquote() << "DREF" << path << "refused: too many datarefs";
    }
}

void SimSession::onCommandReceived(const QString &path)
{
    const bool wasPaused = m_model.paused();
    if (!m_binding.runCommand(path)) {
        qCInfo(lcXpSim).noquote() << "command" << path << "(not simulated)";
        return;
    }
    qCInfo(lcXpSim).noquote() << "command" << path;
    if (m_model.paused() != wasPaused)
        qCInfo(lcXpSim).noquote() << (m_model.paused() ? "simulation paused" : "simulation resumed");
    m_binding.publish(m_store);
}

void SimSession::onRepositionRequested(double latDeg, double lonDeg, double elevationM, double headingDegTrue,
                                       double speedMps)
{
    m_model.reposition(GeoPoint{latDeg, lonDeg}, elevationM, headingDegTrue, speedMps);
    m_binding.publish(m_store);
    qCInfo(lcXpSim).noquote() << QStringLiteral("repositioned to %1, %2, %3 m, heading %4 (%5)")
                                     .arg(latDeg, 0, 'f', 6)
                                     .arg(lonDeg, 0, 'f', 6)
                                     .arg(elevationM, 0, 'f', 1)
                                     .arg(headingDegTrue, 0, 'f', 1)
                                     .arg(m_model.state().onGround ? "on the ground" : "in the air");
    logPhase();
}

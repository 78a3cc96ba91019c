#include "nav/msfs2024diagramfetcher.h"

#include "nav/msfs2024navimporter.h"
#include "nav/navdatafiles.h"
#include "nav/navdataprovider.h"

#include <QFileInfo>

namespace {

constexpr int kMsfs2024Source = 4;
// Airports waiting for their diagram; the map asks for the ones in view, so an old request is
// dropped before the queue grows past this.
constexpr int kMaxWaiting = 32;

} // namespace

Msfs2024DiagramFetcher::Msfs2024DiagramFetcher(NavDataProvider *provider, QObject *parent)
    : QObject(parent), m_provider(provider), m_importer(new Msfs2024NavImporter(this))
{
    connect(m_provider, &NavDataProvider::airportDiagramNeeded, this, &Msfs2024DiagramFetcher::onDiagramNeeded);
    connect(m_importer, &Msfs2024NavImporter::taxiFetched, this, &Msfs2024DiagramFetcher::onTaxiFetched);
}

void Msfs2024DiagramFetcher::setSession(SimConnectSession *session)
{
    m_session = session;
    m_importer->setSession(session);
    m_waiting.clear();
    m_current.clear();
}

void Msfs2024DiagramFetcher::onDiagramNeeded(const QString &icao)
{
    // Only into the MSFS 2024 database, and only from a simulator that is there.
    if (!m_session || !m_session->isOpen() ||
        QFileInfo(m_provider->dbPath()).fileName() != navDataFileName(kMsfs2024Source))
        return;
    if (icao == m_current || m_waiting.contains(icao))
        return;
    m_provider->markAirportDiagramRequested(icao);
    m_waiting.enqueue(icao);
    while (m_waiting.size() > kMaxWaiting)
        m_waiting.dequeue();
    fetchNext();
}

void Msfs2024DiagramFetcher::fetchNext()
{
    while (m_current.isEmpty() && !m_waiting.isEmpty() && !m_importer->isRunning()) {
        const QString icao = m_waiting.dequeue();
        const AirportRecord airport = m_provider->airport(icao);
        if (m_importer->requestAirportTaxi(icao, airport.lat, airport.lon))
            m_current = icao;
        else
            m_provider->markAirportDiagramEmpty(icao);
    }
}

void Msfs2024DiagramFetcher::onTaxiFetched(const QString &icao, bool ok)
{
    if (icao != m_current)
        return;
    m_current.clear();
    const bool written = ok && m_importer->writeTaxiToDatabase(m_provider->dbPath());
    if (written)
        m_provider->injectAirportDiagram(icao);
    else
        m_provider->markAirportDiagramEmpty(icao);
    emit diagramFetched(icao, written);
    fetchNext();
}

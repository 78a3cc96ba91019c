#pragma once

#include <QObject>
#include <QPointer>
#include <QQueue>
#include <QString>

class Msfs2024NavImporter;
class NavDataProvider;
class SimConnectSession;

// Fetches the airport diagrams the MSFS 2024 database lacks from the connected simulator: when the
// navigation data asks for a diagram (airportDiagramNeeded) while an MSFS 2024 session is open and
// the MSFS 2024 database is loaded, the airport's ground layout is requested through the facility
// interface, written into that database and taken into memory; an airport without a layout is
// marked empty so that it is not asked for again. One airport at a time, the others queued.
// GUI thread; the provider and the session are not owned.
class Msfs2024DiagramFetcher : public QObject
{
    Q_OBJECT
public:
    explicit Msfs2024DiagramFetcher(NavDataProvider *provider, QObject *parent = nullptr);

    // The open MSFS 2024 session, or null when the station is not connected to MSFS 2024.
    void setSession(SimConnectSession *session);
    Msfs2024NavImporter *importer() const { return m_importer; }

signals:
    // A diagram was fetched and written (ok), or the airport has none or could not be fetched.
    void diagramFetched(const QString &icao, bool ok);

private:
    void onDiagramNeeded(const QString &icao);
    void onTaxiFetched(const QString &icao, bool ok);
    void fetchNext();

    NavDataProvider *m_provider;
    Msfs2024NavImporter *m_importer;
    QPointer<SimConnectSession> m_session;
    QQueue<QString> m_waiting;
    QString m_current;
};

#pragma once

#include "recording/recordedflight.h"
#include "recording/recordingdatabase.h"
#include "recording/trackexchange.h"

#include <QList>
#include <QObject>
#include <QString>

class QThread;

// The recordings as the tabs see them: lists flights, loads one for playback and statistics,
// exports a flight to GPX, KML or CSV, imports a GPX or CSV track as a flight of its own, deletes.
// Every request runs on a thread of its own (a database on a server may be slow or away), in the
// order asked, and answers with a signal; a failed request answers requestFailed(message) with
// one line of text.
//
// Created by the station's recording services (parent given), used from the GUI thread. The
// SQLite file is not created by listing: with no file yet the list is empty.
class RecordingLibrary : public QObject
{
    Q_OBJECT
public:
    // The station name given to imported flights.
    explicit RecordingLibrary(const RecordingDatabaseConfig &config, const QString &station = {},
                              QObject *parent = nullptr);
    ~RecordingLibrary() override;

    const RecordingDatabaseConfig &config() const { return m_config; }

    void requestFlights();
    void requestFlight(qint64 id);
    void exportFlight(qint64 id, TrackFormat format, const QString &path);
    void importTrack(const QString &path);
    void deleteFlight(qint64 id);

signals:
    void flightsLoaded(const QList<FlightInfo> &flights);
    void flightLoaded(const RecordedFlight &flight);
    void flightExported(qint64 id, const QString &path);
    // skippedRows: malformed rows left out of the file, with the first one's reason.
    void trackImported(const FlightInfo &flight, int skippedRows, const QString &firstProblem);
    void flightDeleted(qint64 id);
    void requestFailed(const QString &message);

private:
    class Worker;
    RecordingDatabaseConfig m_config;
    QThread *m_thread = nullptr;
    Worker *m_worker = nullptr;
};

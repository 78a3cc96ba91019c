#pragma once

#include "supervision/sectorfile.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QPointF>
#include <QString>

#include <optional>

// The ATC sector files the instructor has loaded: EuroScope .sct/.sct2 (with the .ese of the same
// name beside it, when there is one), .ese alone, GeoJSON boundaries (.geojson, .json), OpenAir
// (.txt, .openair) and the network's VATSpy.dat list of airports and FIRs (.dat, which only places
// controllers). Each file is read on a worker thread and then kept whole; each can be shown or
// hidden on the map on its own, and the areas of the visible ones answer "which sector is this
// position in".
//
// Created by the station's supervision wiring with a parent; GUI thread only (the reading runs in
// the global thread pool and reports back here). Files are identified by a number given when the
// load starts.
class SectorManager : public QObject
{
    Q_OBJECT
public:
    struct Entry
    {
        int id = 0;
        SectorFile file;
        bool visible = true;
    };

    // The sector found at a position, with the file it comes from.
    struct Hit
    {
        int fileId = 0;
        int areaIndex = -1;
        QString name;
        QString kind;
        int floorFt = 0;
        int ceilingFt = 0;
    };

    explicit SectorManager(QObject *parent = nullptr);
    ~SectorManager() override;

    // Starts reading a file in the background; returns its id. fileLoaded or loadFailed follows.
    int loadFile(const QString &path);
    // Reads a file here and now, choosing the reader by its extension. Safe on any thread.
    static SectorFile readFile(const QString &path);

    void removeFile(int id);
    void setVisible(int id, bool visible);
    bool isVisible(int id) const;
    QList<int> fileIds() const { return m_entries.keys(); }
    const Entry *entry(int id) const;
    int loadingCount() const { return int(m_loading.size()); }
    // The files loaded and being loaded.
    QStringList filePaths() const;

    // The most specific sector (smallest area) of the visible files that contains the position
    // with the altitude within its limits; nullopt when there is none.
    std::optional<Hit> sectorAt(double lat, double lon, double altitudeFt) const;

    // Where a network controller sits, from the files: an ESE position with the callsign's prefix,
    // middle and suffix (its first visibility centre); an airport of a VATSpy list by ICAO code or
    // short id (its stations DEL, GND, TWR, APP, DEP, ATIS); a FIR of that list by its callsign
    // prefix (the middle of the boundary it names, from a loaded boundary file); else a TRACON
    // owned by the prefix or a FIR named by it. nullopt when no file places it.
    std::optional<QPointF> controllerPosition(const QString &callsign) const;

signals:
    void fileLoaded(int id);
    void loadFailed(const QString &path, const QString &message);
    // Any change to the set of files or their visibility.
    void filesChanged();

private:
    void onLoaded(int id, const QString &path, const SectorFile &file);
    // The middle of the first area of that name in any file.
    std::optional<QPointF> areaCentre(const QString &name) const;

    QMap<int, Entry> m_entries;
    QMap<int, QString> m_loading;
    int m_nextId = 1;
};

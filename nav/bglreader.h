#pragma once

#include "nav/bglrecords.h"
#include "sim/simtype.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>

// Reads BGL scenery files (FSX, Prepar3D v4/v5/v6, MSFS 2020) into lists of scenery records:
// airports with their runways, starts, parkings, COM frequencies, taxiway network and
// procedures; VORs, ILSs, NDBs, markers, waypoints with their airway legs, and airspace
// boundaries. It never touches a database; the builder gathers several readers with mergeFrom
// and writes the result.
//
// Every file is treated as untrusted: all reads are range-checked, every record is stepped over
// by its own size, and a truncated or inconsistent section ends that section (a runaway file
// ends the file) with what was read so far. The section parsers themselves are free functions
// (bglreader_p.h) filling the reader's lists. A reader is created by its user (usually one per
// worker task), lives on that thread and is not thread-safe. Units are those of bglrecords.h.
class BglReader : public QObject
{
    Q_OBJECT
public:
    explicit BglReader(SimType simType, QObject *parent = nullptr);
    ~BglReader() override;

    SimType simType() const { return m_simType; }

    // Reads the whole file and appends its records to the lists. False with lastError() set
    // ("Cannot open: %1", "File too small: %1", "Not a BGL file (bad magic): %1", "Too many
    // sections (%1): %2") for a file that is not a BGL, and false with an empty error when the
    // first section's type is above 200 (a file of another kind with the same magic). Damage
    // inside sections is not an error: parsing of that part stops and the result stays true.
    bool parseFile(const QString &path);
    // The same on bytes already in memory; sourceName stands for the path in the messages. The
    // data is only read, never copied, so it may wrap foreign memory (QByteArray::fromRawData).
    bool parseData(const QByteArray &data, const QString &sourceName);

    // Appends the other reader's records, section types included (the builder gathers a
    // whole scenery library into one reader before writing it).
    void mergeFrom(const BglReader &other);
    void clear();

    // Fills the "to" positions of airway segments from the waypoints, VORs and NDBs held by
    // this reader, matched by ident, region and kind. Segments whose next fix is unknown here
    // keep 0/0. Returns the number of segments resolved.
    int resolveAirwayEndpoints();

    // Error of the last parseFile/parseData call; empty after a successful one.
    QString lastError() const { return m_lastError; }
    // Whether the last parseFile/parseData met tables or records that reach past the end of the
    // data: the file was cut short. What was read before the cut is in the lists all the same.
    bool wasTruncated() const { return m_truncated; }
    // Types of all sections met, one entry per section in file order, across every file parsed
    // (and merged); and the same as a set.
    QList<quint32> sectionTypes() const { return m_sectionTypes; }
    QSet<quint32> distinctSectionTypes() const { return m_distinctSectionTypes; }

    QList<BglAirport> airports() const { return m_records.airports; }
    QList<BglVor> vors() const { return m_records.vors; }
    QList<BglIls> ilses() const { return m_records.ilses; }
    QList<BglNdb> ndbs() const { return m_records.ndbs; }
    QList<BglMarker> markers() const { return m_records.markers; }
    QList<BglWaypoint> waypoints() const { return m_records.waypoints; }
    QList<BglAirwaySegment> airwaySegments() const { return m_records.airwaySegments; }
    QList<BglBoundary> boundaries() const { return m_records.boundaries; }
    // True when no list holds a record.
    bool isEmpty() const;

    // Packed identifier to text: 0 gives an empty text; identifier fields are shifted right by
    // 5 bits first (shifted = true), region and airport fields are not. Base 38 over
    // "  0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ", at most five characters, trimmed.
    static QString decodeIdent(quint32 value, bool shifted);
    // Latin-1 text of the length bytes at offset, cut at the first zero byte; empty when the
    // field does not lie wholly inside the data (or offset/length are negative).
    static QString extractString(const QByteArray &data, int offset, int length);

private:
    SimType m_simType;
    QString m_lastError;
    bool m_truncated = false;
    QList<quint32> m_sectionTypes;
    QSet<quint32> m_distinctSectionTypes;
    BglRecordLists m_records;
};

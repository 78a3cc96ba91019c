#pragma once

#include "sim/simconnect/simconnectfacility.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

// The fake simulator's navigation world for the facility interface: a generated, deterministic
// set of airports (runways with their ends' pavements, lights and VASIs, frequencies including
// codes outside the published list, departures, arrivals and approaches with transitions and
// legs, and for some a taxi layout) and the navaids their procedures name (waypoints joined by
// airway routes, VORs, NDBs, ILS localizers), linked so that a walk outward from the procedures'
// fixes reaches every navaid. Every object is a FacilityNode whose block names are the names a
// definition opens them with, so the fake can answer any definition from it and a test can
// compare what an importer wrote with what the world holds.
class FakeFacilityWorld
{
public:
    explicit FakeFacilityWorld(int airportCount = 300, quint32 seed = 2024);

    const QList<simconnect::FacilityNode> &airports() const { return m_airports; }
    const simconnect::FacilityNode *airport(const QString &icao) const;
    // Navaids by navaidKey(ident, region, kind) with kind 'W', 'V' or 'N'.
    const QHash<QString, simconnect::FacilityNode> &navaids() const { return m_navaids; }
    const simconnect::FacilityNode *navaid(const QString &ident, const QString &region, char kind) const;
    static QString navaidKey(const QString &ident, const QString &region, char kind);

    // The next request naming ident is answered with an EXCEPTION instead of data (once per call).
    void failRequestFor(const QString &ident) { m_failing.insert(ident); }
    bool takeFailure(const QString &ident) { return m_failing.remove(ident); }

    // Replies of one pull arrive interleaved and each request's objects out of order (the
    // default), or in the order the definition walks them.
    void setShuffledReplies(bool shuffled) { m_shuffled = shuffled; }
    bool shuffledReplies() const { return m_shuffled; }
    // Items per AIRPORT_LIST packet.
    int listPacketSize() const { return 64; }

private:
    void generate(int airportCount, quint32 seed);

    QList<simconnect::FacilityNode> m_airports;
    QHash<QString, int> m_airportIndex;
    QHash<QString, simconnect::FacilityNode> m_navaids;
    QSet<QString> m_failing;
    bool m_shuffled = true;
};

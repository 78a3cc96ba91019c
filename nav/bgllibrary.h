#pragma once

#include "nav/bglreader.h"

#include <QHash>
#include <QList>
#include <QString>

// A scenery library's records with the simulator's precedence applied, as the database import
// writes them. The reader gathers the files in load order; here a later airport replaces an
// earlier one of the same ident (an MSFS stub airport, without runways, only replaces its
// procedures and COM frequencies), and a navaid, fix, airway leg or boundary met twice is kept
// once. A plain value built on the import's thread.
struct BglLibrary
{
    // Records with later ones replacing earlier ones of the same key, in first-seen order.
    template <typename T> class Keyed
    {
    public:
        void add(const QString &key, const T &value)
        {
            const auto it = m_index.constFind(key);
            if (it == m_index.constEnd()) {
                m_index.insert(key, int(m_items.size()));
                m_items.append(value);
            } else {
                m_items[*it] = value;
            }
        }
        T *find(const QString &key)
        {
            const auto it = m_index.constFind(key);
            return it == m_index.constEnd() ? nullptr : &m_items[*it];
        }
        const QList<T> &items() const { return m_items; }

    private:
        QHash<QString, int> m_index;
        QList<T> m_items;
    };

    explicit BglLibrary(const BglReader &records);

    Keyed<BglAirport> airports;
    Keyed<BglVor> vors;
    Keyed<BglIls> ilses;
    Keyed<BglNdb> ndbs;
    Keyed<BglMarker> markers;
    Keyed<BglWaypoint> waypoints;
    Keyed<BglAirwaySegment> segments;
    Keyed<BglBoundary> boundaries;
};

// An airport record that carries no layout (no runways, starts or parkings): an MSFS navigation
// update of an airport defined elsewhere.
bool isStubAirport(const BglAirport &airport);

// The scenery's words in the database's vocabulary.
QString bglFrequencyType(const QString &bgl); // "TOWER" -> "TWR", unknown -> "OTHER"
QString bglParkingType(const QString &bgl);   // "GATE", "TIE_DOWN" (ramps) or "MISC"
QString bglAirspaceType(const QString &bgl);  // "CENTER" -> "FIR", classes kept
QString bglProcedureType(const QString &bgl); // "APPROACH" -> "APPCH", as CIFP data names it

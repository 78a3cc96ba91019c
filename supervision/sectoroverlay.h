#pragma once

#include "map/maplayer.h"
#include "supervision/sectormanager.h"

#include <QPointer>

#include <optional>

// Draws the visible sector files on the map (layer "sectors", from zoom 5): FIR, TRACON and
// OpenAir outlines with their names; the lines of EuroScope files in their own colours (made
// darker on light backgrounds, and replaced by the style's own ink where too dark for a dark one);
// airways, SIDs, STARs, runways, navaids and airports from zoom 10, fixes and labels from zoom
// 11, filled ground regions from zoom 13. The sector the own aircraft is in is filled lightly.
//
// A base layer: drawn into the map's cached base and redrawn when the files, their visibility
// or the highlighted sector change. Owned by the supervision wiring; the manager is borrowed.
class SectorOverlay : public MapLayer
{
    Q_OBJECT
public:
    explicit SectorOverlay(SectorManager *manager, QObject *parent = nullptr);

    // The sector to fill (the one under the own aircraft); nullopt for none.
    void setHighlight(const std::optional<SectorManager::Hit> &hit);

    void paint(QPainter *painter, const MapPaintContext &context) override;

private:
    void paintFile(QPainter *painter, const MapPaintContext &context, const SectorManager::Entry &entry) const;
    void paintAreas(QPainter *painter, const MapPaintContext &context, const SectorManager::Entry &entry) const;
    void paintHighlight(QPainter *painter, const MapPaintContext &context) const;

    QPointer<SectorManager> m_manager;
    std::optional<SectorManager::Hit> m_highlight;
};

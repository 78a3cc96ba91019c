#pragma once

#include "map/basemapdata.h"

#include <QColor>

#include <optional>

class MapView;
class QPainter;

// Draws the compiled-in Natural Earth base map (sea, land, coastlines, country borders) for a
// view, picking the band of detail that suits the zoom. The map widget draws it for its offline
// style and, under the tile styles, until the tile service has answered at all.
//
// Owned by the map widget; the data is decoded on the first paint (a few tens of milliseconds) and
// kept. GUI thread only.
class OfflineBaseMap
{
public:
    struct Colours
    {
        QColor sea{170, 200, 224};
        QColor land{240, 236, 222};
        QColor coast{96, 128, 160};
        QColor border{150, 110, 150};
    };

    // Fills the whole area of the view. False when the data could not be loaded (then only the
    // sea is drawn).
    bool paint(QPainter &painter, const MapView &view);
    const Colours &colours() const { return m_colours; }
    // The decoded data, loading it if needed; null when the resource is missing or damaged.
    const BaseMapData *data();

private:
    Colours m_colours;
    bool m_loaded = false;
    std::optional<BaseMapData> m_data;
};

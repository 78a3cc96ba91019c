#pragma once

#include "map/navoverlay.h"

#include <QObject>
#include <QString>

class QPainter;

// A layer that another library draws on the map (sector files, alert marks), so the map needs to
// know nothing of what it shows. The map widget calls paint() with the frame's context and
// repaints when the layer emits changed().
//
// Base layers are drawn into the widget's cached base image, above the navigation overlays: cheap
// while the view stays, redrawn when the view changes or the layer does. Frame layers are drawn
// every frame above the traffic and the own aircraft, for things that move or blink.
//
// The layer's visibility follows the widget's layer map under layerName(), and nothing is drawn
// at or below minZoom(). Owned by whoever creates it; the widget only borrows it (a destroyed
// layer drops out). GUI thread only.
class MapLayer : public QObject
{
    Q_OBJECT
public:
    enum class Stage { Base, Frame };

    MapLayer(const QString &layerName, Stage stage, int minZoom, QObject *parent = nullptr)
        : QObject(parent), m_layerName(layerName), m_stage(stage), m_minZoom(minZoom)
    {
    }

    QString layerName() const { return m_layerName; }
    Stage stage() const { return m_stage; }
    int minZoom() const { return m_minZoom; }
    bool drawsAt(int zoom) const { return zoom > m_minZoom; }

    virtual void paint(QPainter *painter, const MapPaintContext &context) = 0;

signals:
    // What the layer shows changed: the map redraws it.
    void changed();

private:
    QString m_layerName;
    Stage m_stage;
    int m_minZoom;
};

#pragma once

#include "map/maplayer.h"
#include "supervision/supervisionalert.h"

#include <QList>
#include <QPointF>
#include <QString>

// A network controller placed on the map (the feed gives no position; the wiring finds one).
struct PlacedController
{
    QString callsign;
    QString frequency;
    int facility = 0;
    double lat = 0.0;
    double lon = 0.0;
};

// The online network's controllers on the map (layer "online", with the pilots the map draws
// itself): a small antenna mark with callsign and frequency. A base layer, redrawn when the feed
// brings a new list. Owned by the supervision wiring.
class ControllerOverlay : public MapLayer
{
    Q_OBJECT
public:
    explicit ControllerOverlay(QObject *parent = nullptr);

    void setControllers(const QList<PlacedController> &controllers);
    const QList<PlacedController> &controllers() const { return m_controllers; }

    void paint(QPainter *painter, const MapPaintContext &context) override;

private:
    QList<PlacedController> m_controllers;
};

// The alerts in force as marks on the map (layer "alerts"): a ring around each aircraft involved
// (red for conflicts, amber for deviations, orange for terrain), and for a conflict a line between
// the two aircraft with the time to the closest approach. A frame layer, so the marks follow the
// aircraft. Owned by the supervision wiring.
class AlertOverlay : public MapLayer
{
    Q_OBJECT
public:
    explicit AlertOverlay(QObject *parent = nullptr);

    void setAlerts(const QList<SupervisionAlert> &alerts);

    void paint(QPainter *painter, const MapPaintContext &context) override;
    static QColor colourOf(SupervisionAlert::Kind kind);

private:
    QList<SupervisionAlert> m_alerts;
};

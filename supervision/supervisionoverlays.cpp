#include "supervision/supervisionoverlays.h"

#include "map/labellayer.h"
#include "map/mappalette.h"

#include <QPainter>

#include <cmath>

namespace {

constexpr double kRingRadiusPx = 18.0;

} // namespace

ControllerOverlay::ControllerOverlay(QObject *parent)
    : MapLayer(QStringLiteral("online"), Stage::Base, NavOverlayZoom::kNone, parent)
{
}

void ControllerOverlay::setControllers(const QList<PlacedController> &controllers)
{
    m_controllers = controllers;
    emit changed();
}

void ControllerOverlay::paint(QPainter *painter, const MapPaintContext &context)
{
    const MapPalette &palette = *context.palette;
    const QColor ink = palette.dark ? QColor(255, 170, 90) : QColor(190, 90, 0);
    painter->setRenderHint(QPainter::Antialiasing);
    for (const PlacedController &c : m_controllers) {
        if (!context.bounds.widened(0.5).contains(c.lat, c.lon))
            continue;
        const QPointF at = context.project(c.lat, c.lon);
        // A mast with two arcs.
        painter->setPen(QPen(palette.labelHalo, 3.0, Qt::SolidLine, Qt::RoundCap));
        painter->drawLine(at, at + QPointF(0, -10));
        painter->setPen(QPen(ink, 1.6, Qt::SolidLine, Qt::RoundCap));
        painter->drawLine(at, at + QPointF(0, -10));
        painter->setBrush(Qt::NoBrush);
        for (const double r : {4.0, 7.0})
            painter->drawArc(QRectF(at + QPointF(-r, -10 - r), QSizeF(2 * r, 2 * r)), 30 * 16, 120 * 16);
        painter->setBrush(ink);
        painter->drawEllipse(at, 2.5, 2.5);
        if (context.labels)
            context.labels->add(30, at, 8.0, LabelCache::Role::DataBlock, ink,
                                QStringLiteral("%1\n%2").arg(c.callsign, c.frequency));
    }
}

AlertOverlay::AlertOverlay(QObject *parent)
    : MapLayer(QStringLiteral("alerts"), Stage::Frame, NavOverlayZoom::kNone, parent)
{
}

void AlertOverlay::setAlerts(const QList<SupervisionAlert> &alerts)
{
    m_alerts = alerts;
    emit changed();
}

QColor AlertOverlay::colourOf(SupervisionAlert::Kind kind)
{
    switch (kind) {
    case SupervisionAlert::Kind::Conflict:
        return QColor(230, 30, 40);
    case SupervisionAlert::Kind::RouteDeviation:
    case SupervisionAlert::Kind::AltitudeDeviation:
        return QColor(240, 170, 0);
    case SupervisionAlert::Kind::BelowSafeAltitude:
    case SupervisionAlert::Kind::TerrainClearance:
        return QColor(255, 110, 0);
    }
    return Qt::red;
}

void AlertOverlay::paint(QPainter *painter, const MapPaintContext &context)
{
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setBrush(Qt::NoBrush);
    for (const SupervisionAlert &alert : m_alerts) {
        const QColor ink = colourOf(alert.kind);
        QList<QPointF> points;
        for (const QPointF &p : alert.positions)
            points.append(context.project(p.x(), p.y()));
        if (points.size() == 2) {
            painter->setPen(QPen(ink, 1.6, Qt::DashLine));
            painter->drawLine(points.at(0), points.at(1));
            if (context.labels)
                context.labels->addCentred(5, (points.at(0) + points.at(1)) / 2.0, LabelCache::Role::DataBlock, ink,
                                           QStringLiteral("%1 s").arg(std::lround(alert.value1)));
        }
        for (const QPointF &at : points) {
            painter->setPen(QPen(context.palette->labelHalo, 4.5));
            painter->drawEllipse(at, kRingRadiusPx, kRingRadiusPx);
            painter->setPen(QPen(ink, 2.5));
            painter->drawEllipse(at, kRingRadiusPx, kRingRadiusPx);
        }
    }
}

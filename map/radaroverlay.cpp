#include "map/radaroverlay.h"

#include "map/mapwidget.h"

#include <cmath>

RadarOverlay::RadarOverlay(QObject *parent) : QObject(parent) {}

void RadarOverlay::attach(MapWidget *widget)
{
    m_widget = widget;
    if (!m_widget)
        return;
    m_widget->setLayerVisible(QStringLiteral("remote"), m_visible);
    m_widget->setShowDataBlocks(m_showLabels);
    m_widget->setShowTrackHistory(m_showTrackHistory);
    m_widget->setShowSpeedVector(m_showSpeedVector);
    m_widget->setRadarRangeNm(m_rangeNm);
    push();
}

void RadarOverlay::updateAircraft(const QMap<QString, RemoteAircraftDisplay> &aircraft)
{
    m_aircraft = aircraft;
    for (auto it = m_tracks.begin(); it != m_tracks.end();) {
        if (aircraft.contains(it.key()))
            ++it;
        else
            it = m_tracks.erase(it);
    }
    for (auto it = aircraft.cbegin(); it != aircraft.cend(); ++it) {
        QList<QPointF> &track = m_tracks[it.key()];
        const QPointF here(it->lat, it->lon);
        if (!track.isEmpty() && std::abs(track.last().x() - here.x()) < kMinTrackStepDeg &&
            std::abs(track.last().y() - here.y()) < kMinTrackStepDeg)
            continue;
        if (!track.isEmpty() && (std::abs(track.last().x() - here.x()) > kTrackBreakDeg ||
                                 std::abs(track.last().y() - here.y()) > kTrackBreakDeg))
            track.clear();
        track.append(here);
        if (track.size() > kMaxTrackPoints)
            track.remove(0, track.size() - kMaxTrackPoints);
    }
    push();
}

void RadarOverlay::clear()
{
    m_aircraft.clear();
    m_tracks.clear();
    if (m_widget)
        m_widget->clearRemoteAircraft();
}

void RadarOverlay::setVisible(bool visible)
{
    m_visible = visible;
    if (m_widget)
        m_widget->setLayerVisible(QStringLiteral("remote"), visible);
}

void RadarOverlay::setShowLabels(bool show)
{
    m_showLabels = show;
    if (m_widget)
        m_widget->setShowDataBlocks(show);
}

void RadarOverlay::setShowTrackHistory(bool show)
{
    m_showTrackHistory = show;
    if (m_widget)
        m_widget->setShowTrackHistory(show);
}

void RadarOverlay::setShowSpeedVector(bool show)
{
    m_showSpeedVector = show;
    if (m_widget)
        m_widget->setShowSpeedVector(show);
}

void RadarOverlay::setRangeNm(double rangeNm)
{
    m_rangeNm = rangeNm;
    if (m_widget)
        m_widget->setRadarRangeNm(rangeNm);
}

void RadarOverlay::setSelectedStation(const QString &stationId)
{
    if (stationId == m_selected)
        return;
    m_selected = stationId;
    push();
}

void RadarOverlay::push()
{
    if (!m_widget)
        return;
    QList<RemoteAircraftDisplay> shown = m_aircraft.values();
    for (RemoteAircraftDisplay &aircraft : shown)
        aircraft.selected = !m_selected.isEmpty() && aircraft.stationId == m_selected;
    m_widget->updateRemoteDisplay(shown, m_tracks);
}

#pragma once

#include "map/mapobjects.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QString>

class MapWidget;

// Display options for remote stations' aircraft, and their track histories, in front of a map
// widget: it turns each update into the widget's list of aircraft and tracks and forwards the
// options (labels, track history, speed vector, range) to it.
//
// The remote bridge's own aircraft record belongs to a library above the map, so updates arrive
// as RemoteAircraftDisplay values keyed by station id; the wiring in app/ converts them.
//
// Created by whoever shows remote traffic (the map tab), parent given; GUI thread only. The
// attached widget is borrowed.
class RadarOverlay : public QObject
{
    Q_OBJECT
public:
    // Track points kept per station; older ones are dropped first.
    static constexpr int kMaxTrackPoints = 600;
    // A new track point is kept only this far (degrees) from the previous one.
    static constexpr double kMinTrackStepDeg = 0.002;
    // A jump this far (degrees) between updates is a reposition: the track starts again there.
    static constexpr double kTrackBreakDeg = 0.1;

    explicit RadarOverlay(QObject *parent = nullptr);

    // Shows the overlay on this widget (null detaches) and pushes the current state to it.
    void attach(MapWidget *widget);
    // The newest state of every station; stations missing from the map disappear.
    void updateAircraft(const QMap<QString, RemoteAircraftDisplay> &aircraft);
    // Forgets every aircraft and track.
    void clear();
    // The station drawn highlighted (the instructor's target); empty highlights none.
    void setSelectedStation(const QString &stationId);
    QString selectedStation() const { return m_selected; }
    void setVisible(bool visible);
    void setShowLabels(bool show);
    void setShowTrackHistory(bool show);
    void setShowSpeedVector(bool show);
    void setRangeNm(double rangeNm);
    double rangeNm() const { return m_rangeNm; }

    bool isVisible() const { return m_visible; }
    QMap<QString, QList<QPointF>> tracks() const { return m_tracks; }

private:
    void push();

    QPointer<MapWidget> m_widget;
    QMap<QString, RemoteAircraftDisplay> m_aircraft;
    QMap<QString, QList<QPointF>> m_tracks;
    QString m_selected;
    bool m_visible = true;
    bool m_showLabels = true;
    bool m_showTrackHistory = true;
    bool m_showSpeedVector = true;
    double m_rangeNm = 20.0;
};

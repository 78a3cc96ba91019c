#pragma once

#include "map/maplayer.h"
#include "map/mapview.h"
#include "recording/recordedflight.h"

#include <QColor>
#include <QList>
#include <QPointF>
#include <QSize>

// The replayed flight on the moving map: its whole track (the part already replayed brighter),
// a mark at each instructor event with its text, a mark at each landing with its vertical speed,
// and the replayed aircraft at the playback position. A frame layer named "playback" (the aircraft
// moves with every playback step), drawn at every zoom.
//
// Created by the station's recording services and added to the map widget, which borrows it;
// GUI thread. Positions in the map's convention (QPointF x = latitude, y = longitude).
class PlaybackTrackLayer : public MapLayer
{
    Q_OBJECT
public:
    struct Mark
    {
        QPointF latLon;
        qint64 timeMs = 0;
        QString kind; // an event kind, or "landing"
        QString text;
    };

    explicit PlaybackTrackLayer(QObject *parent = nullptr);

    void setFlight(const RecordedFlight &flight);
    void clear();
    void setPosition(const TrackSample &sample);

    bool isEmpty() const { return m_track.isEmpty(); }
    QList<QPointF> track() const { return m_track; }
    QList<Mark> marks() const { return m_marks; }
    GeoBounds bounds() const { return m_bounds; }
    // The highest zoom at which bounds fit into a view of that size (with a margin), 1..18.
    static int zoomToFit(const GeoBounds &bounds, const QSize &size);

    // The colour the station gives an event kind (also used by the time line).
    static QColor kindColour(const QString &kind);

    void paint(QPainter *painter, const MapPaintContext &context) override;

private:
    QList<QPointF> m_track;
    QList<qint64> m_times;
    QList<Mark> m_marks;
    GeoBounds m_bounds;
    bool m_hasPosition = false;
    TrackSample m_position;
};

#include "recording/playbacktracklayer.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kMaxLabelChars = 28;
const QColor kFlownColour(255, 170, 0);
const QColor kAheadColour(255, 170, 0, 90);
const QColor kHalo(0, 0, 0, 150);
const QColor kAircraftColour(230, 60, 230);

QString shortened(const QString &text)
{
    return text.size() <= kMaxLabelChars ? text : text.left(kMaxLabelChars - 1) + QChar(0x2026);
}

void drawHaloPolyline(QPainter &painter, const QPolygonF &line, const QColor &colour, double width)
{
    if (line.size() < 2)
        return;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(kHalo, width + 2.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(line);
    painter.setPen(QPen(colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(line);
}

} // namespace

PlaybackTrackLayer::PlaybackTrackLayer(QObject *parent) : MapLayer(QStringLiteral("playback"), Stage::Frame, 0, parent)
{
}

void PlaybackTrackLayer::setFlight(const RecordedFlight &flight)
{
    m_track.clear();
    m_times.clear();
    m_marks.clear();
    m_hasPosition = false;
    m_bounds = GeoBounds{90.0, 180.0, -90.0, -180.0};
    for (const TrackSample &s : flight.samples) {
        m_track << QPointF(s.lat, s.lon);
        m_times << s.timeMs;
        m_bounds.minLat = std::min(m_bounds.minLat, s.lat);
        m_bounds.maxLat = std::max(m_bounds.maxLat, s.lat);
        m_bounds.minLon = std::min(m_bounds.minLon, s.lon);
        m_bounds.maxLon = std::max(m_bounds.maxLon, s.lon);
    }
    for (const FlightEvent &e : flight.events) {
        // An event that names a place (a reposition's target) is marked there; any other where
        // the aircraft was at its time.
        const QJsonValue lat = e.details.value(QLatin1String("lat"));
        const QJsonValue lon = e.details.value(QLatin1String("lon"));
        if (lat.isDouble() && lon.isDouble()) {
            m_marks << Mark{QPointF(lat.toDouble(), lon.toDouble()), e.timeMs, e.kind, e.text};
            continue;
        }
        const auto after = std::upper_bound(flight.samples.cbegin(), flight.samples.cend(), e.timeMs,
                                            [](qint64 t, const TrackSample &s) { return t < s.timeMs; });
        TrackSample at;
        if (after == flight.samples.cbegin())
            at = flight.samples.value(0);
        else if (after == flight.samples.cend())
            at = flight.samples.last();
        else
            at = interpolate(*(after - 1), *after, e.timeMs);
        m_marks << Mark{QPointF(at.lat, at.lon), e.timeMs, e.kind, e.text};
    }
    for (const LandingRecord &l : flight.landings) {
        m_marks << Mark{QPointF(l.lat, l.lon), l.timeMs, QStringLiteral("landing"),
                        QStringLiteral("%1 ft/min  %2 g").arg(std::lround(l.vsFpm)).arg(l.gLoad, 0, 'f', 2)};
    }
    if (!flight.samples.isEmpty()) {
        m_position = flight.samples.first();
        m_hasPosition = true;
    }
    emit changed();
}

void PlaybackTrackLayer::clear()
{
    m_track.clear();
    m_times.clear();
    m_marks.clear();
    m_hasPosition = false;
    emit changed();
}

void PlaybackTrackLayer::setPosition(const TrackSample &sample)
{
    m_position = sample;
    m_hasPosition = true;
    emit changed();
}

int PlaybackTrackLayer::zoomToFit(const GeoBounds &bounds, const QSize &size)
{
    const QPointF centre((bounds.minLat + bounds.maxLat) / 2.0, (bounds.minLon + bounds.maxLon) / 2.0);
    const QSizeF usable(size.width() * 0.85, size.height() * 0.85);
    for (int zoom = 18; zoom > 1; --zoom) {
        const MapView view(centre, zoom, size, false);
        const QPointF a = view.geoToScreen(bounds.maxLat, bounds.minLon);
        const QPointF b = view.geoToScreen(bounds.minLat, bounds.maxLon);
        if (std::fabs(b.x() - a.x()) <= usable.width() && std::fabs(b.y() - a.y()) <= usable.height())
            return zoom;
    }
    return 1;
}

QColor PlaybackTrackLayer::kindColour(const QString &kind)
{
    if (kind == QLatin1String("landing"))
        return QColor(60, 200, 90);
    if (kind == QLatin1String(FlightEventKind::kFailure))
        return QColor(230, 50, 50);
    if (kind == QLatin1String(FlightEventKind::kFailureReset))
        return QColor(240, 140, 140);
    if (kind == QLatin1String(FlightEventKind::kPosition))
        return QColor(70, 150, 255);
    if (kind == QLatin1String(FlightEventKind::kWeather))
        return QColor(120, 210, 230);
    if (kind == QLatin1String(FlightEventKind::kFuel))
        return QColor(230, 200, 60);
    if (kind == QLatin1String(FlightEventKind::kFlightPlan))
        return QColor(90, 220, 170);
    if (kind == QLatin1String(FlightEventKind::kPushback))
        return QColor(170, 130, 90);
    if (kind == QLatin1String(FlightEventKind::kAtc))
        return QColor(200, 120, 255);
    if (kind == QLatin1String(FlightEventKind::kScenario))
        return QColor(255, 120, 40);
    return QColor(220, 220, 220);
}

void PlaybackTrackLayer::paint(QPainter *painter, const MapPaintContext &context)
{
    if (m_track.isEmpty())
        return;
    const MapView &view = context.view;
    painter->setRenderHint(QPainter::Antialiasing);
    const qint64 now = m_hasPosition ? m_position.timeMs : m_times.first();
    const qsizetype split = std::upper_bound(m_times.cbegin(), m_times.cend(), now) - m_times.cbegin();
    QPolygonF flown;
    QPolygonF ahead;
    flown.reserve(split + 1);
    ahead.reserve(m_track.size() - split + 1);
    for (qsizetype i = 0; i < m_track.size(); ++i) {
        const QPointF p = view.geoToScreen(m_track.at(i));
        if (i < split)
            flown << p;
        else
            ahead << p;
    }
    if (m_hasPosition) {
        const QPointF here = view.geoToScreen(m_position.lat, m_position.lon);
        flown << here;
        ahead.prepend(here);
    }
    drawHaloPolyline(*painter, ahead, kAheadColour, 2.0);
    drawHaloPolyline(*painter, flown, kFlownColour, 2.5);

    QFont font = painter->font();
    font.setPixelSize(11);
    painter->setFont(font);
    const QFontMetricsF metrics(font);
    for (const Mark &mark : std::as_const(m_marks)) {
        const QPointF p = view.geoToScreen(mark.latLon);
        const QColor colour = kindColour(mark.kind);
        painter->setPen(QPen(Qt::black, 1.2));
        painter->setBrush(colour);
        if (mark.kind == QLatin1String("landing")) {
            painter->drawPolygon(QPolygonF{p + QPointF(0, -7), p + QPointF(6, 4), p + QPointF(-6, 4)});
        } else {
            painter->drawEllipse(p, 5.5, 5.5);
        }
        const QString label = shortened(mark.text);
        if (label.isEmpty())
            continue;
        const QRectF box = metrics.boundingRect(label).translated(p + QPointF(9, 4)).adjusted(-3, -1, 3, 1);
        painter->setPen(Qt::NoPen);
        painter->setBrush(QColor(0, 0, 0, 170));
        painter->drawRoundedRect(box, 3, 3);
        painter->setPen(colour.lighter(130));
        painter->drawText(p + QPointF(9, 4), label);
    }

    if (m_hasPosition) {
        const QPointF p = view.geoToScreen(m_position.lat, m_position.lon);
        QPainterPath shape;
        shape.moveTo(0, -13);
        shape.lineTo(9, 9);
        shape.lineTo(0, 4);
        shape.lineTo(-9, 9);
        shape.closeSubpath();
        painter->save();
        painter->translate(p);
        painter->rotate(m_position.hdgTrueDeg);
        painter->setPen(QPen(Qt::white, 1.5));
        painter->setBrush(kAircraftColour);
        painter->drawPath(shape);
        painter->restore();
    }
}

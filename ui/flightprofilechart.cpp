#include "ui/flightprofilechart.h"

#include "recording/playbacktracklayer.h"

#include <QEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

constexpr double kLeftPx = 56.0;
constexpr double kRightPx = 50.0;
constexpr double kTopPx = 16.0;
constexpr double kBottomPx = 22.0;

// 1, 2 or 5 times a power of ten, near range / 4.
double gridStep(double range)
{
    const double raw = std::max(1.0, range / 4.0);
    const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
    for (const double f : {1.0, 2.0, 5.0}) {
        if (f * magnitude >= raw)
            return f * magnitude;
    }
    return 10.0 * magnitude;
}

} // namespace

FlightProfileChart::FlightProfileChart(QWidget *parent) : QWidget(parent)
{
    retranslateUi();
}

void FlightProfileChart::retranslateUi()
{
    m_altitudeLabel = tr("高度 (英尺)");
    m_speedLabel = tr("指示空速 (节)");
    m_emptyLabel = tr("没有航迹数据");
    update();
}

void FlightProfileChart::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void FlightProfileChart::setFlight(const RecordedFlight &flight)
{
    m_flight = flight;
    m_maxAltFt = m_maxIasKt = 0;
    m_minAltFt = flight.samples.isEmpty() ? 0 : flight.samples.first().altFt;
    for (const TrackSample &s : flight.samples) {
        m_maxAltFt = std::max(m_maxAltFt, s.altFt);
        m_minAltFt = std::min(m_minAltFt, s.altFt);
        m_maxIasKt = std::max(m_maxIasKt, s.iasKt);
    }
    update();
}

void FlightProfileChart::clear()
{
    setFlight(RecordedFlight());
}

void FlightProfileChart::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.fillRect(rect(), palette().color(QPalette::Base));
    const QRectF plot(kLeftPx, kTopPx, width() - kLeftPx - kRightPx, height() - kTopPx - kBottomPx);
    const QList<TrackSample> &samples = m_flight.samples;
    if (samples.size() < 2 || plot.width() < 20 || plot.height() < 20) {
        p.setPen(palette().color(QPalette::PlaceholderText));
        p.drawText(rect(), Qt::AlignCenter, m_emptyLabel);
        return;
    }
    const qint64 t0 = samples.first().timeMs;
    const double span = std::max<qint64>(1, samples.last().timeMs - t0);
    const double altLow = std::floor(std::min(0.0, m_minAltFt) / 100.0) * 100.0;
    const double altHigh = std::max(altLow + 100.0, m_maxAltFt * 1.08);
    const double iasHigh = std::max(50.0, m_maxIasKt * 1.08);
    auto xAt = [&](qint64 t) { return plot.left() + plot.width() * double(t - t0) / span; };
    auto altY = [&](double alt) { return plot.bottom() - plot.height() * (alt - altLow) / (altHigh - altLow); };
    auto iasY = [&](double ias) { return plot.bottom() - plot.height() * ias / iasHigh; };

    // Grid and altitude axis.
    p.setFont(font());
    const QColor grid = palette().color(QPalette::Mid);
    const double step = gridStep(altHigh - altLow);
    for (double a = std::ceil(altLow / step) * step; a <= altHigh; a += step) {
        p.setPen(QPen(grid, 0.6, Qt::DotLine));
        p.drawLine(QPointF(plot.left(), altY(a)), QPointF(plot.right(), altY(a)));
        p.setPen(palette().color(QPalette::Text));
        p.drawText(QRectF(0, altY(a) - 8, kLeftPx - 4, 16), Qt::AlignRight | Qt::AlignVCenter,
                   QString::number(std::lround(a)));
    }
    const double ktStep = gridStep(iasHigh);
    for (double v = ktStep; v <= iasHigh; v += ktStep)
        p.drawText(QRectF(plot.right() + 4, iasY(v) - 8, kRightPx - 4, 16), Qt::AlignLeft | Qt::AlignVCenter,
                   QString::number(std::lround(v)));

    // Altitude filled, speed as a line; one point per pixel column is plenty.
    QPolygonF altitude;
    QPolygonF speed;
    const qsizetype stride = std::max<qsizetype>(1, samples.size() / qsizetype(plot.width() * 2));
    for (qsizetype i = 0; i < samples.size(); i += stride) {
        altitude << QPointF(xAt(samples.at(i).timeMs), altY(samples.at(i).altFt));
        speed << QPointF(xAt(samples.at(i).timeMs), iasY(samples.at(i).iasKt));
    }
    altitude << QPointF(xAt(samples.last().timeMs), altY(samples.last().altFt));
    speed << QPointF(xAt(samples.last().timeMs), iasY(samples.last().iasKt));
    QPolygonF area = altitude;
    area << QPointF(altitude.last().x(), plot.bottom()) << QPointF(altitude.first().x(), plot.bottom());
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(70, 140, 230, 90));
    p.drawPolygon(area);
    p.setPen(QPen(QColor(40, 110, 210), 1.6));
    p.setBrush(Qt::NoBrush);
    p.drawPolyline(altitude);
    p.setPen(QPen(QColor(230, 130, 30), 1.4));
    p.drawPolyline(speed);

    for (const FlightEvent &e : m_flight.events) {
        const double x = xAt(e.timeMs);
        p.setPen(QPen(PlaybackTrackLayer::kindColour(e.kind).darker(120), 1.2, Qt::DashLine));
        p.drawLine(QPointF(x, plot.top()), QPointF(x, plot.bottom()));
    }
    for (const LandingRecord &l : m_flight.landings) {
        const double x = xAt(l.timeMs);
        p.setPen(QPen(Qt::black, 1));
        p.setBrush(PlaybackTrackLayer::kindColour(QStringLiteral("landing")));
        p.drawPolygon(
            QPolygonF{QPointF(x, plot.bottom() - 12), QPointF(x - 6, plot.bottom()), QPointF(x + 6, plot.bottom())});
    }

    p.setPen(palette().color(QPalette::Text));
    p.setBrush(Qt::NoBrush);
    p.drawRect(plot);
    p.setPen(QColor(40, 110, 210));
    p.drawText(QRectF(plot.left() + 6, 0, plot.width() / 2, kTopPx), Qt::AlignLeft | Qt::AlignVCenter, m_altitudeLabel);
    p.setPen(QColor(230, 130, 30));
    p.drawText(QRectF(plot.center().x(), 0, plot.width() / 2 - 6, kTopPx), Qt::AlignRight | Qt::AlignVCenter,
               m_speedLabel);
}

#include "instruments/primaryflightdisplay.h"

#include <QEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

// The design, in its own 800 x 600 units.
constexpr QPointF kCentre(400.0, 250.0);
const QRectF kAttitudeRect(230.0, 70.0, 340.0, 360.0);
const QRectF kSpeedRect(120.0, 70.0, 90.0, 360.0);
const QRectF kAltitudeRect(590.0, 70.0, 100.0, 360.0);
const QRectF kVsRect(700.0, 100.0, 56.0, 300.0);
const QRectF kHeadingRect(230.0, 458.0, 340.0, 48.0);
constexpr double kPxPerPitchDeg = 7.0;
constexpr double kPxPerKt = 4.0;
constexpr double kPxPerFt = 0.4;
constexpr double kPxPerHdgDeg = 4.0;
constexpr double kBankRadius = 160.0;
constexpr qint64 kTrendResetMs = 5000;
constexpr qint64 kTrendMinSpanMs = 300;

const QColor kSky(38, 108, 200);
const QColor kGround(128, 84, 44);
const QColor kTape(60, 64, 72);
const QColor kWhite(240, 240, 240);
const QColor kMagenta(235, 70, 235);
const QColor kCyan(70, 220, 235);
const QColor kGreen(60, 220, 90);
const QColor kAmber(255, 190, 40);
const QColor kSymbol(255, 215, 0);

QFont designFont(double pixelSize, bool bold = false)
{
    QFont font;
    font.setPixelSize(int(pixelSize));
    font.setBold(bold);
    return font;
}

// A value box centred on the tape's middle line.
// Saves the painter and prepares a tape's background, clip, tick pen and label font; the caller
// restores.
void beginTape(QPainter &p, const QRectF &r, double fontPx)
{
    p.save();
    p.fillRect(r, kTape);
    p.setClipRect(r);
    p.setPen(QPen(kWhite, 2));
    p.setFont(designFont(fontPx, true));
}

void drawReadoutBox(QPainter &p, const QRectF &box, const QString &text, const QColor &colour)
{
    p.setPen(QPen(kWhite, 1.5));
    p.setBrush(Qt::black);
    p.drawRect(box);
    p.setPen(colour);
    p.drawText(box, Qt::AlignCenter, text);
}

double vsOffsetPx(double vsFpm)
{
    // 0-1000 ft/min takes 80 px each way, the next thousand 35, up to 6000 another 30.
    const double a = std::fabs(vsFpm);
    double px = 0.0;
    if (a <= 1000.0)
        px = a * 0.08;
    else if (a <= 2000.0)
        px = 80.0 + (a - 1000.0) * 0.035;
    else
        px = 115.0 + std::min(a - 2000.0, 4000.0) / 4000.0 * 30.0;
    return vsFpm >= 0 ? -px : px;
}

QString headingLabel(int deg)
{
    switch (deg) {
    case 0:
        return QStringLiteral("N");
    case 90:
        return QStringLiteral("E");
    case 180:
        return QStringLiteral("S");
    case 270:
        return QStringLiteral("W");
    default:
        return QString::number(deg / 10);
    }
}

int wrap360(double deg)
{
    int d = int(std::lround(deg)) % 360;
    return d < 0 ? d + 360 : d;
}

} // namespace

PrimaryFlightDisplay::PrimaryFlightDisplay(QWidget *parent) : QWidget(parent)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    m_clock.start();
    retranslateUi();
}

void PrimaryFlightDisplay::retranslateUi()
{
    m_gsLabel = tr("地速");
    m_tasLabel = tr("真空速");
    m_stdLabel = tr("标准");
    m_hpaLabel = tr("百帕");
    m_hdgLabel = tr("航向");
    m_apLabel = tr("自动驾驶");
    m_raLabel = tr("无线电高度");
    m_noDataLabel = tr("无数据");
    update();
}

void PrimaryFlightDisplay::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void PrimaryFlightDisplay::setAircraftData(const AircraftData &data)
{
    setAircraftData(data, m_clock.elapsed());
}

void PrimaryFlightDisplay::setAircraftData(const AircraftData &data, qint64 timeMs)
{
    if (!m_speedHistory.empty() &&
        (timeMs <= m_speedHistory.back().first || timeMs - m_speedHistory.back().first > kTrendResetMs))
        m_speedHistory.clear();
    m_speedHistory.emplace_back(timeMs, data.ias);
    while (m_speedHistory.front().first < timeMs - kTrendWindowMs)
        m_speedHistory.pop_front();
    // Least-squares slope over the window, in knots per second.
    m_trendKt = 0.0;
    const double span = double(timeMs - m_speedHistory.front().first);
    if (m_speedHistory.size() >= 3 && span >= kTrendMinSpanMs) {
        double meanT = 0.0;
        double meanV = 0.0;
        for (const auto &[t, v] : m_speedHistory) {
            meanT += double(t - timeMs);
            meanV += v;
        }
        meanT /= double(m_speedHistory.size());
        meanV /= double(m_speedHistory.size());
        double covariance = 0.0;
        double variance = 0.0;
        for (const auto &[t, v] : m_speedHistory) {
            const double dt = double(t - timeMs) - meanT;
            covariance += dt * (v - meanV);
            variance += dt * dt;
        }
        if (variance > 0.0)
            m_trendKt = covariance / variance * 1000.0 * kTrendSeconds;
    }
    m_data = data;
    m_hasData = true;
    update();
}

void PrimaryFlightDisplay::clearData()
{
    m_hasData = false;
    m_data = AircraftData();
    m_speedHistory.clear();
    m_trendKt = 0.0;
    update();
}

void PrimaryFlightDisplay::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    render(painter, rect());
}

void PrimaryFlightDisplay::render(QPainter &p, const QRectF &target) const
{
    p.save();
    p.fillRect(target, Qt::black);
    const double scale = std::min(target.width() / kDesignWidth, target.height() / kDesignHeight);
    p.translate(target.center().x() - kDesignWidth * scale / 2.0, target.center().y() - kDesignHeight * scale / 2.0);
    p.scale(scale, scale);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);

    if (!m_hasData) {
        p.setPen(QPen(kAmber, 2));
        p.setBrush(Qt::NoBrush);
        p.drawRect(kAttitudeRect);
        p.setFont(designFont(30, true));
        p.drawText(kAttitudeRect, Qt::AlignCenter, m_noDataLabel);
        p.restore();
        return;
    }
    paintAttitude(p);
    paintBankScale(p);
    paintSpeedTape(p);
    paintAltitudeTape(p);
    paintVerticalSpeed(p);
    paintHeadingTape(p);
    paintReadouts(p);
    p.restore();
}

void PrimaryFlightDisplay::paintAttitude(QPainter &p) const
{
    p.save();
    p.setClipRect(kAttitudeRect);
    p.translate(kCentre);
    // Right wing down turns the world anticlockwise; nose up moves the horizon down.
    p.rotate(-m_data.bank);
    const double horizonY = m_data.pitch * kPxPerPitchDeg;
    p.fillRect(QRectF(-600, -900 + horizonY, 1200, 900), kSky);
    p.fillRect(QRectF(-600, horizonY, 1200, 900), kGround);
    p.setPen(QPen(kWhite, 2));
    p.drawLine(QPointF(-600, horizonY), QPointF(600, horizonY));

    // Pitch ladder: 2.5-degree steps, numbered every 10, within about 20 degrees of the nose.
    p.setClipRect(QRectF(-130, -150, 260, 290), Qt::IntersectClip);
    p.setFont(designFont(14, true));
    const int first = int(std::ceil((m_data.pitch - 22.0) / 2.5));
    const int last = int(std::floor((m_data.pitch + 22.0) / 2.5));
    QVector<QLineF> lines;
    for (int i = first; i <= last; ++i) {
        if (i == 0 || std::abs(i) > 36)
            continue;
        const double deg = i * 2.5;
        const double y = horizonY - deg * kPxPerPitchDeg;
        const double half = i % 4 == 0 ? 50.0 : (i % 2 == 0 ? 25.0 : 12.0);
        lines << QLineF(-half, y, half, y);
        if (i % 4 == 0) {
            const QString text = QString::number(std::abs(int(deg)));
            p.drawText(QRectF(-half - 36, y - 10, 30, 20), Qt::AlignRight | Qt::AlignVCenter, text);
            p.drawText(QRectF(half + 6, y - 10, 30, 20), Qt::AlignLeft | Qt::AlignVCenter, text);
        }
    }
    p.drawLines(lines);
    p.restore();

    // The aircraft symbol stays fixed.
    p.save();
    p.setPen(QPen(Qt::black, 1.5));
    p.setBrush(kSymbol);
    p.drawRect(QRectF(kCentre.x() - 110, kCentre.y() - 3, 60, 7));
    p.drawRect(QRectF(kCentre.x() + 50, kCentre.y() - 3, 60, 7));
    p.drawRect(QRectF(kCentre.x() - 56, kCentre.y() - 3, 7, 20));
    p.drawRect(QRectF(kCentre.x() + 49, kCentre.y() - 3, 7, 20));
    p.drawRect(QRectF(kCentre.x() - 4, kCentre.y() - 4, 8, 8));
    p.restore();
}

void PrimaryFlightDisplay::paintBankScale(QPainter &p) const
{
    p.save();
    p.translate(kCentre);
    p.setPen(QPen(kWhite, 2));
    const QRectF arc(-kBankRadius, -kBankRadius, 2 * kBankRadius, 2 * kBankRadius);
    p.drawArc(arc, (90 - 60) * 16, 120 * 16);
    for (const int deg : {-60, -45, -30, -20, -10, 10, 20, 30, 45, 60}) {
        const double a = (deg - 90) * M_PI / 180.0;
        const double inner = kBankRadius;
        const double outer = kBankRadius + (std::abs(deg) == 30 || std::abs(deg) == 60 ? 16.0 : 9.0);
        p.drawLine(QPointF(std::cos(a) * inner, std::sin(a) * inner),
                   QPointF(std::cos(a) * outer, std::sin(a) * outer));
    }
    // Fixed index at the top, the pointer turns with the horizon.
    p.setBrush(kWhite);
    p.drawPolygon(
        QPolygonF{QPointF(0, -kBankRadius - 2), QPointF(-8, -kBankRadius - 16), QPointF(8, -kBankRadius - 16)});
    p.rotate(-m_data.bank);
    p.setBrush(kSymbol);
    p.setPen(QPen(Qt::black, 1));
    p.drawPolygon(
        QPolygonF{QPointF(0, -kBankRadius + 2), QPointF(-9, -kBankRadius + 16), QPointF(9, -kBankRadius + 16)});
    p.restore();
}

void PrimaryFlightDisplay::paintSpeedTape(QPainter &p) const
{
    const QRectF &r = kSpeedRect;
    const double ias = std::max(0.0, m_data.ias);
    beginTape(p, r, 17);
    QVector<QLineF> ticks;
    const int low = std::max(0, int(std::floor((ias - 50.0) / 10.0)) * 10);
    for (int v = low; v <= ias + 50.0; v += 10) {
        const double y = kCentre.y() - (v - ias) * kPxPerKt;
        ticks << QLineF(r.right() - 14, y, r.right(), y);
        if (v % 20 == 0)
            p.drawText(QRectF(r.left(), y - 11, r.width() - 20, 22), Qt::AlignRight | Qt::AlignVCenter,
                       QString::number(v));
    }
    p.drawLines(ticks);
    // Trend: where the speed will be in ten seconds.
    if (std::fabs(m_trendKt) >= 2.0) {
        const double y = kCentre.y() - std::clamp(m_trendKt, -45.0, 45.0) * kPxPerKt;
        p.setPen(QPen(kGreen, 3));
        p.drawLine(QPointF(r.right() - 6, kCentre.y()), QPointF(r.right() - 6, y));
        p.drawLine(QPointF(r.right() - 12, y), QPointF(r.right(), y));
    }
    if (m_data.apSpd > 0) {
        const double y = std::clamp(kCentre.y() - (m_data.apSpd - ias) * kPxPerKt, r.top(), r.bottom());
        p.setPen(QPen(kMagenta, 3));
        p.drawPolyline(
            QPolygonF{QPointF(r.right() + 1, y - 8), QPointF(r.right() - 8, y), QPointF(r.right() + 1, y + 8)});
    }
    p.restore();
    p.save();
    p.setFont(designFont(22, true));
    drawReadoutBox(p, QRectF(r.left() - 4, kCentre.y() - 18, r.width() - 8, 36), QString::number(std::lround(ias)),
                   kWhite);
    p.restore();
}

void PrimaryFlightDisplay::paintAltitudeTape(QPainter &p) const
{
    const QRectF &r = kAltitudeRect;
    const double alt = m_data.altInd;
    beginTape(p, r, 16);
    QVector<QLineF> ticks;
    const int low = int(std::floor((alt - 460.0) / 100.0)) * 100;
    for (int a = low; a <= alt + 460.0; a += 100) {
        const double y = kCentre.y() - (a - alt) * kPxPerFt;
        ticks << QLineF(r.left(), y, r.left() + 12, y);
        if (a % 200 == 0)
            p.drawText(QRectF(r.left() + 16, y - 10, r.width() - 18, 20), Qt::AlignLeft | Qt::AlignVCenter,
                       QString::number(a));
    }
    p.drawLines(ticks);
    if (m_data.apAlt != 0) {
        const double y = std::clamp(kCentre.y() - (m_data.apAlt - alt) * kPxPerFt, r.top(), r.bottom());
        p.setPen(QPen(kCyan, 3));
        p.drawPolyline(QPolygonF{QPointF(r.left() + 10, y - 12), QPointF(r.left(), y - 12), QPointF(r.left(), y + 12),
                                 QPointF(r.left() + 10, y + 12)});
    }
    p.restore();
    p.save();
    p.setFont(designFont(21, true));
    drawReadoutBox(p, QRectF(r.left() + 6, kCentre.y() - 18, r.width() + 2, 36), QString::number(std::lround(alt)),
                   kWhite);
    // Selected altitude above, altimeter setting below.
    p.setFont(designFont(18, true));
    p.setPen(kCyan);
    p.drawText(QRectF(r.left(), r.top() - 34, r.width(), 28), Qt::AlignCenter,
               QString::number(std::lround(m_data.apAlt)));
    const bool standard = std::fabs(m_data.baro - 1013.25) < 0.1;
    p.drawText(QRectF(r.left() - 10, r.bottom() + 4, r.width() + 20, 26), Qt::AlignCenter,
               standard ? m_stdLabel : QStringLiteral("%1 %2").arg(std::lround(m_data.baro)).arg(m_hpaLabel));
    p.restore();
}

void PrimaryFlightDisplay::paintVerticalSpeed(QPainter &p) const
{
    const QRectF &r = kVsRect;
    p.save();
    QPainterPath outline;
    outline.moveTo(r.left(), r.top());
    outline.lineTo(r.left() + 24, r.top());
    outline.lineTo(r.right(), kCentre.y() - 40);
    outline.lineTo(r.right(), kCentre.y() + 40);
    outline.lineTo(r.left() + 24, r.bottom());
    outline.lineTo(r.left(), r.bottom());
    outline.closeSubpath();
    p.fillPath(outline, kTape);
    p.setPen(QPen(kWhite, 2));
    p.setFont(designFont(13, true));
    QVector<QLineF> ticks;
    for (const int v : {-6000, -2000, -1500, -1000, -500, 0, 500, 1000, 1500, 2000, 6000}) {
        const double y = kCentre.y() + vsOffsetPx(v);
        ticks << QLineF(r.left() + 14, y, r.left() + (v % 1000 == 0 ? 24 : 19), y);
        if (v % 1000 == 0 && v != 0)
            p.drawText(QRectF(r.left() - 2, y - 8, 14, 16), Qt::AlignCenter, QString::number(std::abs(v) / 1000));
    }
    p.drawLines(ticks);
    const double y = kCentre.y() + vsOffsetPx(m_data.vs);
    p.setPen(QPen(kWhite, 3));
    p.drawLine(QPointF(r.right() + 30, kCentre.y()), QPointF(r.left() + 16, y));
    if (std::fabs(m_data.vs) >= 400) {
        p.setFont(designFont(15, true));
        const double textY = m_data.vs > 0 ? r.top() - 26 : r.bottom() + 4;
        p.drawText(QRectF(r.left() - 10, textY, r.width() + 20, 22), Qt::AlignCenter,
                   QString::number(int(std::lround(m_data.vs / 50.0)) * 50));
    }
    p.restore();
}

void PrimaryFlightDisplay::paintHeadingTape(QPainter &p) const
{
    const QRectF &r = kHeadingRect;
    const double hdg = m_data.hdg;
    beginTape(p, r, 16);
    QVector<QLineF> ticks;
    const int low = int(std::floor((hdg - 45.0) / 5.0)) * 5;
    for (int h = low; h <= hdg + 45.0; h += 5) {
        const double x = kCentre.x() + (h - hdg) * kPxPerHdgDeg;
        const bool ten = h % 10 == 0;
        ticks << QLineF(x, r.top(), x, r.top() + (ten ? 12 : 7));
        if (ten)
            p.drawText(QRectF(x - 20, r.top() + 14, 40, 24), Qt::AlignCenter, headingLabel(wrap360(h)));
    }
    p.drawLines(ticks);
    if (m_data.apHdg != 0 || m_data.apHdgLock) {
        const double off = std::clamp(std::remainder(m_data.apHdg - hdg, 360.0), -42.0, 42.0);
        const double x = kCentre.x() + off * kPxPerHdgDeg;
        p.setPen(QPen(kMagenta, 3));
        p.drawPolyline(QPolygonF{QPointF(x - 9, r.top()), QPointF(x - 9, r.top() + 8), QPointF(x, r.top() + 2),
                                 QPointF(x + 9, r.top() + 8), QPointF(x + 9, r.top())});
    }
    p.restore();
    p.save();
    p.setFont(designFont(19, true));
    drawReadoutBox(p, QRectF(kCentre.x() - 30, r.top() - 30, 60, 28),
                   QStringLiteral("%1").arg(wrap360(hdg), 3, 10, QLatin1Char('0')), kWhite);
    p.setFont(designFont(15, true));
    p.setPen(kMagenta);
    p.drawText(QRectF(r.right() + 8, r.top() + 8, 140, 24), Qt::AlignLeft | Qt::AlignVCenter,
               QStringLiteral("%1 %2").arg(m_hdgLabel).arg(wrap360(m_data.apHdg), 3, 10, QLatin1Char('0')));
    p.restore();
}

void PrimaryFlightDisplay::paintReadouts(QPainter &p) const
{
    p.save();
    p.setFont(designFont(18, true));
    // Selected speed above the speed tape, Mach below it.
    p.setPen(kMagenta);
    if (m_data.apSpd > 0)
        p.drawText(QRectF(kSpeedRect.left(), kSpeedRect.top() - 34, kSpeedRect.width(), 28), Qt::AlignCenter,
                   QString::number(std::lround(m_data.apSpd)));
    p.setPen(kWhite);
    if (m_data.mach >= 0.4)
        p.drawText(QRectF(kSpeedRect.left(), kSpeedRect.bottom() + 4, kSpeedRect.width(), 26), Qt::AlignCenter,
                   QStringLiteral("M .%1").arg(int(std::lround(m_data.mach * 1000)) % 1000, 3, 10, QLatin1Char('0')));

    p.setFont(designFont(17, true));
    p.drawText(QRectF(20, 470, 200, 28), Qt::AlignLeft | Qt::AlignVCenter,
               QStringLiteral("%1 %2").arg(m_gsLabel).arg(std::lround(m_data.gs)));
    p.drawText(QRectF(20, 500, 200, 28), Qt::AlignLeft | Qt::AlignVCenter,
               QStringLiteral("%1 %2").arg(m_tasLabel).arg(std::lround(m_data.tas)));

    if (m_data.apMaster) {
        p.setPen(kGreen);
        p.drawText(QRectF(kAttitudeRect.left(), 10, kAttitudeRect.width(), 26), Qt::AlignCenter, m_apLabel);
    }
    if (!m_data.onGround && m_data.altAGL > 0 && m_data.altAGL < 2500) {
        p.setPen(m_data.altAGL < 500 ? kAmber : kWhite);
        p.drawText(QRectF(kAttitudeRect.left(), kAttitudeRect.bottom() - 34, kAttitudeRect.width(), 28),
                   Qt::AlignCenter, QStringLiteral("%1 %2").arg(m_raLabel).arg(std::lround(m_data.altAGL)));
    }
    p.restore();
}

#include "ui/playbacktimeline.h"

#include "recording/playbacktracklayer.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QTime>
#include <QToolTip>

#include <algorithm>
#include <cmath>

namespace {

constexpr double kSideMarginPx = 10.0;

QString clockText(qint64 ms)
{
    return QTime(0, 0).addMSecs(int(std::min<qint64>(ms, 86399999))).toString(QStringLiteral("HH:mm:ss"));
}

} // namespace

PlaybackTimeline::PlaybackTimeline(QWidget *parent) : QWidget(parent)
{
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setCursor(Qt::PointingHandCursor);
}

void PlaybackTimeline::setDuration(qint64 durationMs)
{
    m_durationMs = std::max<qint64>(0, durationMs);
    update();
}

void PlaybackTimeline::setMarks(const QList<Mark> &marks)
{
    m_marks = marks;
    update();
}

void PlaybackTimeline::setPosition(qint64 positionMs)
{
    m_positionMs = std::clamp<qint64>(positionMs, 0, m_durationMs);
    update();
}

QRectF PlaybackTimeline::barRect() const
{
    return QRectF(kSideMarginPx, height() / 2.0 - 5.0, std::max(1.0, width() - 2 * kSideMarginPx), 10.0);
}

double PlaybackTimeline::xForTime(qint64 offsetMs) const
{
    const QRectF bar = barRect();
    if (m_durationMs <= 0)
        return bar.left();
    return bar.left() + bar.width() * double(std::clamp<qint64>(offsetMs, 0, m_durationMs)) / double(m_durationMs);
}

qint64 PlaybackTimeline::timeAtX(double x) const
{
    const QRectF bar = barRect();
    const double f = std::clamp((x - bar.left()) / bar.width(), 0.0, 1.0);
    return qint64(std::llround(f * double(m_durationMs)));
}

QList<int> PlaybackTimeline::marksNear(double x) const
{
    QList<int> found;
    for (int i = 0; i < m_marks.size(); ++i) {
        if (std::fabs(xForTime(m_marks.at(i).offsetMs) - x) <= kMarkHitPx)
            found << i;
    }
    return found;
}

void PlaybackTimeline::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF bar = barRect();
    p.setPen(Qt::NoPen);
    p.setBrush(palette().color(QPalette::Mid));
    p.drawRoundedRect(bar, 4, 4);
    const double x = xForTime(m_positionMs);
    p.setBrush(palette().color(QPalette::Highlight));
    p.drawRoundedRect(QRectF(bar.left(), bar.top(), x - bar.left(), bar.height()), 4, 4);

    for (const Mark &mark : std::as_const(m_marks)) {
        const double mx = xForTime(mark.offsetMs);
        p.setPen(QPen(Qt::black, 1));
        p.setBrush(PlaybackTrackLayer::kindColour(mark.kind));
        if (mark.kind == QLatin1String("landing")) {
            p.drawPolygon(QPolygonF{QPointF(mx, bar.bottom() + 1), QPointF(mx - 5, bar.bottom() + 10),
                                    QPointF(mx + 5, bar.bottom() + 10)});
        } else {
            p.drawRect(QRectF(mx - 2, bar.top() - 10, 4, 9));
            p.drawEllipse(QPointF(mx, bar.top() - 12), 3.5, 3.5);
        }
    }
    // The playback position.
    p.setPen(QPen(palette().color(QPalette::Text), 1));
    p.setBrush(palette().color(QPalette::Base));
    p.drawEllipse(QPointF(x, bar.center().y()), 7, 7);
}

void PlaybackTimeline::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && m_durationMs > 0)
        emit seekRequested(timeAtX(event->position().x()));
}

void PlaybackTimeline::mouseMoveEvent(QMouseEvent *event)
{
    if ((event->buttons() & Qt::LeftButton) && m_durationMs > 0)
        emit seekRequested(timeAtX(event->position().x()));
}

bool PlaybackTimeline::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return QWidget::event(event);
    auto *help = static_cast<QHelpEvent *>(event);
    QStringList lines;
    for (const int i : marksNear(help->pos().x()))
        lines << QStringLiteral("%1  %2").arg(clockText(m_marks.at(i).offsetMs), m_marks.at(i).text);
    if (lines.isEmpty())
        lines << clockText(timeAtX(help->pos().x()));
    QToolTip::showText(help->globalPos(), lines.join(QLatin1Char('\n')), this);
    return true;
}

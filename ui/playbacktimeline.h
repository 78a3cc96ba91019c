#pragma once

#include <QList>
#include <QString>
#include <QWidget>

// The time line of a replayed flight: a bar from start to end with the part already replayed
// filled, a mark for each event (coloured by kind) and each landing, and the playback position.
// A click or drag on it asks for that position; hovering a mark shows its time and text.
//
// Plain widget, GUI thread, created by the playback bar. Times are milliseconds from the flight's
// start.
class PlaybackTimeline : public QWidget
{
    Q_OBJECT
public:
    struct Mark
    {
        qint64 offsetMs = 0;
        QString kind; // an event kind, or "landing"
        QString text;
    };

    // Marks closer than this to the cursor (pixels) show their tool tip.
    static constexpr double kMarkHitPx = 6.0;

    explicit PlaybackTimeline(QWidget *parent = nullptr);

    void setDuration(qint64 durationMs);
    void setMarks(const QList<Mark> &marks);
    void setPosition(qint64 positionMs);
    qint64 durationMs() const { return m_durationMs; }
    qint64 positionMs() const { return m_positionMs; }
    QList<Mark> marks() const { return m_marks; }

    // The bar's pixel column for a time, and the time under a pixel column (clamped).
    double xForTime(qint64 offsetMs) const;
    qint64 timeAtX(double x) const;
    // Indexes of the marks within kMarkHitPx of x.
    QList<int> marksNear(double x) const;

    QSize sizeHint() const override { return QSize(600, 46); }
    QSize minimumSizeHint() const override { return QSize(160, 40); }

signals:
    void seekRequested(qint64 positionMs);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    bool event(QEvent *event) override;

private:
    QRectF barRect() const;

    qint64 m_durationMs = 0;
    qint64 m_positionMs = 0;
    QList<Mark> m_marks;
};

#pragma once

#include "sim/aircraftdata.h"

#include <QElapsedTimer>
#include <QString>
#include <QWidget>

#include <deque>

class QPainter;

// The primary flight display, painted with QPainter from AircraftData samples: attitude with
// pitch ladder and bank scale, speed tape with a ten-second trend vector and the selected speed,
// altitude tape with the selected altitude and the altimeter setting, vertical speed, heading tape
// with the heading bug, ground and true airspeed, Mach, radio altitude near the ground and the
// autopilot state. No flight director.
//
// Drawn on a fixed 800 x 600 design that is scaled to the widget (aspect kept, centred), so it
// fits any size. Each sample repaints; a frame at 800 x 600 costs about a millisecond, so it keeps
// up with a 50 Hz simulator. Before the first sample (and after clearData) it shows "no data".
//
// Plain widget, GUI thread; created by the tab that shows it. Units as in AircraftData: the
// indicated altitude and magnetic heading are shown; pitch and bank in the simulator's sign
// convention (pitch up, right wing down positive).
class PrimaryFlightDisplay : public QWidget
{
    Q_OBJECT
public:
    static constexpr double kDesignWidth = 800.0;
    static constexpr double kDesignHeight = 600.0;
    // The trend vector shows the speed this many seconds ahead, from the straight line that fits
    // the last kTrendWindowMs of samples best (so a few tenths of jitter do not shake it).
    static constexpr double kTrendSeconds = 10.0;
    static constexpr qint64 kTrendWindowMs = 2000;

    explicit PrimaryFlightDisplay(QWidget *parent = nullptr);

    // timeMs: when the sample was taken (any steady clock in ms); by default the arrival time.
    void setAircraftData(const AircraftData &data);
    void setAircraftData(const AircraftData &data, qint64 timeMs);
    void clearData();
    bool hasData() const { return m_hasData; }
    const AircraftData &aircraftData() const { return m_data; }
    // Indicated airspeed expected kTrendSeconds ahead minus now (knots).
    double speedTrendKt() const { return m_trendKt; }

    // Paints the display into target (any device: the widget, an image).
    void render(QPainter &painter, const QRectF &target) const;

    QSize sizeHint() const override { return QSize(800, 600); }
    QSize minimumSizeHint() const override { return QSize(200, 150); }

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();
    void paintAttitude(QPainter &p) const;
    void paintBankScale(QPainter &p) const;
    void paintSpeedTape(QPainter &p) const;
    void paintAltitudeTape(QPainter &p) const;
    void paintVerticalSpeed(QPainter &p) const;
    void paintHeadingTape(QPainter &p) const;
    void paintReadouts(QPainter &p) const;

    AircraftData m_data;
    bool m_hasData = false;
    std::deque<std::pair<qint64, double>> m_speedHistory; // ms, kt
    double m_trendKt = 0.0;
    QElapsedTimer m_clock;

    // Labels, set by retranslateUi.
    QString m_gsLabel;
    QString m_tasLabel;
    QString m_stdLabel;
    QString m_hpaLabel;
    QString m_hdgLabel;
    QString m_apLabel;
    QString m_raLabel;
    QString m_noDataLabel;
};

#pragma once

#include "recording/recordedflight.h"

#include <QWidget>

// A flight's vertical profile for the debrief: altitude (filled) and indicated airspeed over
// time, with the instructor's events and the landings marked where they happened.
//
// Plain widget, GUI thread, created by the statistics view.
class FlightProfileChart : public QWidget
{
    Q_OBJECT
public:
    explicit FlightProfileChart(QWidget *parent = nullptr);

    void setFlight(const RecordedFlight &flight);
    void clear();

    QSize sizeHint() const override { return QSize(600, 220); }
    QSize minimumSizeHint() const override { return QSize(200, 120); }

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();

    RecordedFlight m_flight;
    double m_maxAltFt = 0;
    double m_minAltFt = 0;
    double m_maxIasKt = 0;
    QString m_altitudeLabel;
    QString m_speedLabel;
    QString m_emptyLabel;
};

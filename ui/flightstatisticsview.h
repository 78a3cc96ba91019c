#pragma once

#include "recording/recordedflight.h"

#include <QWidget>

class FlightProfileChart;
class QLabel;
class QTableWidget;

// The debrief numbers of one flight: what it was (callsign, aircraft, simulator, source, times),
// block and air time, distance, highest altitude and speeds, fuel burnt, take-offs and landings;
// a table of the landings with vertical speed, load factor, speed, bounces and a plain-words
// rating; a table of the instructor's events; and the altitude/speed profile.
//
// Plain widget, GUI thread, created by the recordings tab.
class FlightStatisticsView : public QWidget
{
    Q_OBJECT
public:
    // Touchdown rates (ft/min, descending) up to which a landing is called smooth, normal, firm;
    // anything harder is a hard landing.
    static constexpr double kSmoothFpm = 200.0;
    static constexpr double kNormalFpm = 400.0;
    static constexpr double kFirmFpm = 600.0;

    explicit FlightStatisticsView(QWidget *parent = nullptr);

    void setFlight(const RecordedFlight &flight);
    void clear();

    // The rating's words for a touchdown vertical speed (negative: descending).
    static QString landingRating(double vsFpm);
    // People's words for an event kind.
    static QString eventKindText(const QString &kind);

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();
    void fill();

    RecordedFlight m_flight;
    bool m_hasFlight = false;
    QList<QLabel *> m_names;
    QList<QLabel *> m_values;
    QLabel *m_landingsTitle = nullptr;
    QLabel *m_eventsTitle = nullptr;
    QTableWidget *m_landings = nullptr;
    QTableWidget *m_events = nullptr;
    FlightProfileChart *m_profile = nullptr;
};

#pragma once

#include "sim/aircraftdata.h"

#include <QPointer>
#include <QWidget>

class NavDataProvider;
class PositionAircraft;
class PushbackController;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class SimOperationDispatcher;
class SlewController;

// The aircraft tab: positioning presets (runway, finals, pattern, vectors, parking, free
// coordinates) with airport/runway/parking pickers fed from the navigation data, pushback with
// speed, radius and direction, a slew pad, and pause/freeze. It only calls the controllers; what
// they report (position set or failed, pushback running) is shown in the tab.
//
// Created by the main window's control wiring, GUI thread only. Controllers, dispatcher and
// navigation data are borrowed. Texts switch language on QEvent::LanguageChange.
class AircraftTab : public QWidget
{
    Q_OBJECT
public:
    // The positioning choices, in the order the preset box offers them.
    enum Preset { Runway, ShortFinal, LongFinal, Approach15, Pattern, Vectors, Parking, FreeCoordinates };

    explicit AircraftTab(QWidget *parent = nullptr);

    void setControllers(PositionAircraft *positioning, PushbackController *pushback, SlewController *slew,
                        SimOperationDispatcher *dispatcher);
    void setNavDataProvider(NavDataProvider *navData);

    // Picks the airport (ICAO code, or the first match of a search) and fills runways and
    // parkings; false when nothing matches.
    bool setAirport(const QString &text);
    QString airport() const;
    void setPreset(Preset preset);
    // Places the aircraft by the chosen preset and pickers.
    void applyPreset();

public slots:
    void setAircraftData(const AircraftData &data);
    // The navigation data was (re)loaded: pickers are refilled.
    void refreshNavData();

signals:
    // The simulator (or the target agent) was paused or resumed, frozen or released from here.
    void pauseSet(bool paused);
    void freezeSet(bool position, bool attitude);

protected:
    void changeEvent(QEvent *event) override;

private:
    QGroupBox *createPositioning();
    QGroupBox *createPushback();
    QGroupBox *createSlew();
    QGroupBox *createPauseFreeze();
    void retranslateUi();
    void fillPickers();
    void updatePresetFields();
    void showResult(const QString &text, bool ok);
    void onPauseToggled(bool paused);
    void onFreezeToggled();
    void showSimStatus(const QString &text);
    void slewStep(int step);

    QPointer<PositionAircraft> m_positioning;
    QPointer<PushbackController> m_pushback;
    QPointer<SlewController> m_slew;
    QPointer<SimOperationDispatcher> m_dispatcher;
    QPointer<NavDataProvider> m_navData;
    QString m_airportIcao;

    QGroupBox *m_positionBox = nullptr;
    QLabel *m_airportLabel = nullptr;
    QLineEdit *m_airportEdit = nullptr;
    QLabel *m_airportName = nullptr;
    QLabel *m_runwayLabel = nullptr;
    QComboBox *m_runway = nullptr;
    QLabel *m_parkingLabel = nullptr;
    QComboBox *m_parking = nullptr;
    QLabel *m_presetLabel = nullptr;
    QComboBox *m_preset = nullptr;
    QLabel *m_legLabel = nullptr;
    QComboBox *m_leg = nullptr;
    QLabel *m_sideLabel = nullptr;
    QComboBox *m_side = nullptr;
    QLabel *m_freeLabel = nullptr;
    QDoubleSpinBox *m_freeLat = nullptr;
    QDoubleSpinBox *m_freeLon = nullptr;
    QDoubleSpinBox *m_freeAlt = nullptr;
    QDoubleSpinBox *m_freeHeading = nullptr;
    QPushButton *m_apply = nullptr;
    QLabel *m_result = nullptr;
    QLabel *m_current = nullptr;

    QGroupBox *m_pushbackBox = nullptr;
    QLabel *m_speedLabel = nullptr;
    QSpinBox *m_speed = nullptr;
    QLabel *m_radiusLabel = nullptr;
    QSpinBox *m_radius = nullptr;
    QPushButton *m_pushStraight = nullptr;
    QPushButton *m_pushLeft = nullptr;
    QPushButton *m_pushRight = nullptr;
    QPushButton *m_pushStop = nullptr;
    QLabel *m_pushState = nullptr;

    QGroupBox *m_slewBox = nullptr;
    QCheckBox *m_slewEnabled = nullptr;
    QLabel *m_stepLabel = nullptr;
    QSpinBox *m_stepFt = nullptr;
    QLabel *m_turnLabel = nullptr;
    QSpinBox *m_stepDeg = nullptr;
    QList<QPushButton *> m_slewButtons;

    QGroupBox *m_simBox = nullptr;
    QCheckBox *m_pause = nullptr;
    QCheckBox *m_freezePosition = nullptr;
    QCheckBox *m_freezeAttitude = nullptr;
    QLabel *m_simStatus = nullptr;
    AircraftData m_data;
};

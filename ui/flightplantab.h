#pragma once

#include "plan/flightplan.h"
#include "plan/flightplanfile.h"
#include "plan/routeplanner.h"
#include "plan/simbriefservice.h"

#include <QPointer>
#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QTableWidget;
class QGroupBox;

// The flight-plan tab: plans a route (departure and arrival airports with runways and
// procedures, cruise altitude, a route text or the airway search), imports one (a .pln/.fms
// file, an OFP by SimBrief user name or URL), lists its legs with course, distance and time,
// lets every leg be edited (insert, remove, reorder, altitude; points dragged on the map), exports
// it, and asks for it to be sent to the simulator. From a plan to the lesson: the OFP's fuel and
// payload, and the aircraft placed at a chosen point or before the approach.
//
// Created by the planning services in app/, GUI thread only. The route planner and the OFP
// service are borrowed; what leaves the tab (the plan for the map, sending, placing the
// aircraft, loading fuel) goes out as signals that app/ connects.
class FlightPlanTab : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kDefaultGroundSpeedKt = 420;
    static constexpr int kDefaultApproachDistanceNm = 10;

    explicit FlightPlanTab(QWidget *parent = nullptr);

    void setRoutePlanner(const RoutePlanner *planner);
    void setSimBriefService(SimBriefService *service);
    void setSimBriefUser(const QString &user);
    QString simBriefUser() const;

    FlightPlan plan() const { return m_plan; }
    // Shows the plan (and fills the form from it); emits planChanged.
    void setPlan(const FlightPlan &plan);
    bool hasOfp() const { return m_ofp.valid; }
    SimBriefService::OFPData ofp() const { return m_ofp; }
    double groundSpeedKt() const;
    int selectedIndex() const;
    void selectWaypoint(int index);
    QString statusText() const;

    // The file actions behind the dialogs; false, with the reason in the status line, on failure.
    bool importFile(const QString &path);
    bool exportFile(const QString &path, FlightPlanFile::Format format);

public slots:
    // Plans from the form; the result (or why not) shows in the status line.
    void buildRoute();
    void onOfpReceived(const SimBriefService::OFPData &ofp);
    void onOfpError(const QString &error);
    // A point dragged on the map: it stays in the plan, now off its airway.
    void moveWaypoint(int index, double lat, double lon);
    // A point added from the map: after the selected point, else before the destination.
    void addWaypoint(const QString &ident, double lat, double lon, const QString &type);
    // The navigation data changed: the form's lists are filled again.
    void refreshChoices();
    void setStatus(const QString &text);

signals:
    void planChanged(const FlightPlan &plan);
    void sendRequested(const FlightPlan &plan);
    void positionRequested(const RoutePlanner::Placement &placement);
    // The OFP's ramp fuel and payload, to load into the aircraft.
    void ofpLoadRequested(const SimBriefService::OFPData &ofp);

protected:
    void changeEvent(QEvent *event) override;

private:
    QWidget *createForm();
    QWidget *createImportRow();
    QWidget *createLegPanel();
    void retranslateUi();
    void fillRunways(QComboBox *box, const QString &icao);
    void fillProcedures(bool departure);
    void fillTransitions(QComboBox *box, const QString &icao, const QString &type, const QString &name);
    void fillFormFromPlan();
    void showPlan();
    void updateSummary();
    void removeSelected();
    void moveSelected(int delta);
    void insertTyped();
    void onAltitudeEdited(int row, int column);
    void chooseImportFile();
    void chooseExportFile();
    void placeAtSelected();
    void placeBeforeApproach();
    void commit(); // the plan changed by an edit

    QPointer<SimBriefService> m_simbrief;
    const RoutePlanner *m_planner = nullptr;
    FlightPlan m_plan;
    SimBriefService::OFPData m_ofp;
    bool m_updatingTable = false;

    QGroupBox *m_formBox = nullptr;
    QLabel *m_departureLabel = nullptr;
    QLabel *m_destinationLabel = nullptr;
    QLabel *m_cruiseLabel = nullptr;
    QLabel *m_routeLabel = nullptr;
    QLabel *m_runwayLabels[2] = {};
    QLabel *m_procedureLabels[3] = {};
    QLabel *m_transitionLabels[3] = {};
    QLineEdit *m_departure = nullptr;
    QComboBox *m_departureRunway = nullptr;
    QComboBox *m_sid = nullptr;
    QComboBox *m_sidTransition = nullptr;
    QLineEdit *m_destination = nullptr;
    QComboBox *m_destinationRunway = nullptr;
    QComboBox *m_star = nullptr;
    QComboBox *m_starTransition = nullptr;
    QComboBox *m_approach = nullptr;
    QComboBox *m_approachTransition = nullptr;
    QSpinBox *m_cruise = nullptr;
    QLineEdit *m_route = nullptr;
    QPushButton *m_buildButton = nullptr;

    QLabel *m_userLabel = nullptr;
    QLineEdit *m_simbriefUser = nullptr;
    QPushButton *m_fetchButton = nullptr;
    QLineEdit *m_ofpUrl = nullptr;
    QPushButton *m_urlButton = nullptr;
    QPushButton *m_importButton = nullptr;
    QPushButton *m_exportButton = nullptr;
    QPushButton *m_sendButton = nullptr;

    QTableWidget *m_table = nullptr;
    QLineEdit *m_insertIdent = nullptr;
    QPushButton *m_insertButton = nullptr;
    QPushButton *m_removeButton = nullptr;
    QPushButton *m_upButton = nullptr;
    QPushButton *m_downButton = nullptr;
    QLabel *m_speedLabel = nullptr;
    QSpinBox *m_groundSpeed = nullptr;
    QLabel *m_summary = nullptr;
    QLabel *m_ofpSummary = nullptr;
    QPushButton *m_placeButton = nullptr;
    QSpinBox *m_approachDistance = nullptr;
    QPushButton *m_placeApproachButton = nullptr;
    QPushButton *m_loadFuelButton = nullptr;
    QLabel *m_status = nullptr;
};

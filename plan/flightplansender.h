#pragma once

#include "plan/flightplan.h"

#include <QCoreApplication>
#include <QString>

class ISimBackend;

// Hands a flight plan to the simulator in the form it loads. X-Plane reads plans for its FMS from
// its "Output/FMS plans" folder, so the plan is written there as an .fms when the simulator's
// folder is known (it runs on this machine); the SimConnect simulators get a .pln written to a
// folder of ours and loaded through the backend's flight-plan call.
//
// Stateless; GUI thread (it calls the backend). The backend is borrowed for the call.
class FlightPlanSender
{
    Q_DECLARE_TR_FUNCTIONS(FlightPlanSender)
public:
    // "<X-Plane folder>/Output/FMS plans".
    static QString xplanePlanFolder(const QString &xplaneDir);
    // "ZSPDZBAA" (letters and digits of the airports), "PLAN" when there are none.
    static QString fileBaseName(const FlightPlan &plan);

    // True when the plan went out; message says where it went or why it did not, for the user.
    static bool send(const FlightPlan &plan, ISimBackend *backend, const QString &plnFolder, QString *message);
};

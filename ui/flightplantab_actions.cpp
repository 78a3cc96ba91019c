#include "ui/flightplantab.h"

#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>

// What the tab does: planning, importing, editing and handing the plan on.

namespace {

using Segment = FlightPlanWaypoint::Segment;
using Type = FlightPlanWaypoint::Type;

enum Column { Ident, Kind, Phase, Airway, Altitude, Course, Distance, Time, Total };

QString chosenText(const QComboBox *box)
{
    return box->currentIndex() > 0 ? box->currentText() : QString();
}

QString hoursMinutes(double minutes)
{
    const int whole = qRound(minutes);
    return QStringLiteral("%1:%2").arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

QTableWidgetItem *readOnly(const QString &text)
{
    auto *item = new QTableWidgetItem(text);
    item->setFlags(item->flags() & ~Qt::ItemIsEditable);
    return item;
}

} // namespace

void FlightPlanTab::setRoutePlanner(const RoutePlanner *planner)
{
    m_planner = planner;
    refreshChoices();
}

void FlightPlanTab::setSimBriefService(SimBriefService *service)
{
    if (m_simbrief)
        disconnect(m_simbrief, nullptr, this, nullptr);
    m_simbrief = service;
    if (service) {
        connect(service, &SimBriefService::ofpReceived, this, &FlightPlanTab::onOfpReceived);
        connect(service, &SimBriefService::ofpError, this, &FlightPlanTab::onOfpError);
    }
}

void FlightPlanTab::setSimBriefUser(const QString &user)
{
    m_simbriefUser->setText(user);
}

QString FlightPlanTab::simBriefUser() const
{
    return m_simbriefUser->text().trimmed();
}

double FlightPlanTab::groundSpeedKt() const
{
    return m_groundSpeed->value();
}

int FlightPlanTab::selectedIndex() const
{
    const QList<QTableWidgetItem *> items = m_table->selectedItems();
    return items.isEmpty() ? -1 : items.first()->row();
}

void FlightPlanTab::selectWaypoint(int index)
{
    m_table->selectRow(index);
}

QString FlightPlanTab::statusText() const
{
    return m_status->text();
}

void FlightPlanTab::setStatus(const QString &text)
{
    m_status->setText(text);
}

void FlightPlanTab::setPlan(const FlightPlan &plan)
{
    m_plan = plan;
    fillFormFromPlan();
    commit();
}

void FlightPlanTab::commit()
{
    showPlan();
    emit planChanged(m_plan);
}

void FlightPlanTab::showPlan()
{
    if (!m_table)
        return;
    const QString phases[] = {tr("起飞"), tr("离场"), tr("航路"), tr("进场"), tr("进近"), tr("到达")};
    const QString kinds[] = {tr("机场"), QStringLiteral("VOR"), QStringLiteral("NDB"), tr("航路点"), tr("自定义")};
    m_updatingTable = true;
    const int selected = selectedIndex();
    const QList<FlightPlanLeg> legs = m_plan.legs(groundSpeedKt());
    m_table->setRowCount(int(m_plan.waypoints.size()));
    double total = 0.0;
    for (int row = 0; row < m_plan.waypoints.size(); ++row) {
        const FlightPlanWaypoint &w = m_plan.waypoints.at(row);
        m_table->setItem(row, Ident, readOnly(w.positioned ? w.ident : w.ident + QStringLiteral(" ?")));
        m_table->setItem(row, Kind, readOnly(kinds[int(w.type)]));
        QString phase = phases[int(w.segment)];
        if (!w.procedure.isEmpty())
            phase += QStringLiteral(" ") + w.procedure;
        m_table->setItem(row, Phase, readOnly(phase));
        m_table->setItem(row, Airway, readOnly(row == 0 ? QString() : w.airway.isEmpty() ? tr("直飞") : w.airway));
        m_table->setItem(row, Altitude, new QTableWidgetItem(QString::number(qRound(w.altitudeFt))));
        if (row == 0) {
            for (int c = Course; c <= Total; ++c)
                m_table->setItem(row, c, readOnly(QString()));
            continue;
        }
        const FlightPlanLeg &leg = legs.at(row - 1);
        total += leg.distanceNm;
        m_table->setItem(row, Course,
                         readOnly(QStringLiteral("%1").arg(qRound(leg.courseDeg) % 360, 3, 10, QLatin1Char('0'))));
        m_table->setItem(row, Distance, readOnly(QString::number(leg.distanceNm, 'f', 1)));
        m_table->setItem(row, Time, readOnly(hoursMinutes(leg.minutes)));
        m_table->setItem(row, Total, readOnly(QString::number(total, 'f', 1)));
    }
    if (selected >= 0 && selected < m_table->rowCount())
        m_table->selectRow(selected);
    m_table->resizeColumnsToContents();
    m_updatingTable = false;
    updateSummary();
}

void FlightPlanTab::updateSummary()
{
    const double distance = m_plan.totalDistanceNm();
    m_summary->setText(m_plan.waypoints.isEmpty() ? tr("没有飞行计划")
                                                  : tr("%1  %2 个航点  总距离 %3 nm  预计 %4")
                                                        .arg(m_plan.displayName())
                                                        .arg(m_plan.waypoints.size())
                                                        .arg(distance, 0, 'f', 0)
                                                        .arg(hoursMinutes(distance / groundSpeedKt() * 60.0)));
    m_loadFuelButton->setEnabled(m_ofp.valid);
    m_placeApproachButton->setEnabled(m_plan.waypoints.size() >= 2);
    m_placeButton->setEnabled(!m_plan.waypoints.isEmpty());
    if (!m_ofp.valid) {
        m_ofpSummary->clear();
        return;
    }
    const QString unit = m_ofp.weightUnit.isEmpty() ? QStringLiteral("kg") : m_ofp.weightUnit;
    m_ofpSummary->setText(tr("OFP %1-%2  %3  FL%4  轮挡燃油 %5 %6  业载 %7 %6  无油重 %8  起飞重 %9  着陆重 %10  "
                             "空中时间 %11")
                              .arg(m_ofp.origin, m_ofp.destination, m_ofp.aircraftIcao)
                              .arg(m_ofp.flightLevel)
                              .arg(m_ofp.rampFuel, 0, 'f', 0)
                              .arg(unit)
                              .arg(m_ofp.payload, 0, 'f', 0)
                              .arg(m_ofp.zfw, 0, 'f', 0)
                              .arg(m_ofp.tow, 0, 'f', 0)
                              .arg(m_ofp.ldw, 0, 'f', 0)
                              .arg(hoursMinutes(m_ofp.estFlightTimeMin)));
}

void FlightPlanTab::buildRoute()
{
    if (!m_planner) {
        setStatus(tr("导航数据尚未加载"));
        return;
    }
    RoutePlanner::Request request;
    request.departure = m_departure->text().trimmed().toUpper();
    request.destination = m_destination->text().trimmed().toUpper();
    request.departureRunway = chosenText(m_departureRunway);
    request.sid = chosenText(m_sid);
    request.sidTransition = chosenText(m_sidTransition);
    request.destinationRunway = chosenText(m_destinationRunway);
    request.star = chosenText(m_star);
    request.starTransition = chosenText(m_starTransition);
    request.approach = chosenText(m_approach);
    request.approachTransition = chosenText(m_approachTransition);
    request.cruiseAltitudeFt = m_cruise->value();
    request.route = m_route->text().trimmed();
    if (request.departure.isEmpty() || request.destination.isEmpty()) {
        setStatus(tr("请输入起飞和目的机场"));
        return;
    }
    const RoutePlanner::Result result = m_planner->planRoute(request);
    if (!result.ok) {
        setStatus(tr("无法生成航路：%1").arg(result.error));
        return;
    }
    m_plan = result.plan;
    m_route->setText(m_plan.routeString());
    commit();
    setStatus(result.notes.isEmpty() ? tr("已生成航路 %1").arg(m_plan.displayName())
                                     : result.notes.join(QLatin1Char(' ')));
}

void FlightPlanTab::onOfpReceived(const SimBriefService::OFPData &ofp)
{
    m_ofp = ofp;
    if (ofp.cruiseTas > 0)
        m_groundSpeed->setValue(ofp.cruiseTas);
    if (!m_planner) {
        setStatus(tr("导航数据尚未加载"));
        updateSummary();
        return;
    }
    const RoutePlanner::Result result = m_planner->planFromOfp(ofp);
    if (!result.ok) {
        setStatus(tr("OFP 已读取，但无法生成航路：%1").arg(result.error));
        updateSummary();
        return;
    }
    setPlan(result.plan);
    setStatus(result.notes.isEmpty() ? tr("已导入 OFP %1-%2").arg(ofp.origin, ofp.destination)
                                     : result.notes.join(QLatin1Char(' ')));
}

void FlightPlanTab::onOfpError(const QString &error)
{
    setStatus(tr("OFP 导入失败：%1").arg(error));
}

bool FlightPlanTab::importFile(const QString &path)
{
    FlightPlan plan;
    QString error;
    if (!FlightPlanFile::read(path, &plan, &error)) {
        setStatus(tr("导入失败：%1").arg(error));
        return false;
    }
    const int missing = m_planner ? m_planner->resolvePositions(&plan) : 0;
    setPlan(plan);
    setStatus(missing > 0
                  ? tr("已导入 %1；%2 个航点在导航数据中找不到位置").arg(QFileInfo(path).fileName()).arg(missing)
                  : tr("已导入 %1").arg(QFileInfo(path).fileName()));
    return true;
}

bool FlightPlanTab::exportFile(const QString &path, FlightPlanFile::Format format)
{
    QString error;
    if (!FlightPlanFile::write(m_plan, path, format, &error)) {
        setStatus(tr("导出失败：%1").arg(error));
        return false;
    }
    setStatus(tr("已导出 %1").arg(QDir::toNativeSeparators(path)));
    return true;
}

void FlightPlanTab::chooseImportFile()
{
    const QString path =
        QFileDialog::getOpenFileName(this, tr("导入飞行计划"), QString(), tr("飞行计划 (*.pln *.fms)"));
    if (!path.isEmpty())
        importFile(path);
}

void FlightPlanTab::chooseExportFile()
{
    const QString pln = tr("MSFS/P3D/FSX 飞行计划 (*.pln)");
    const QString pln2024 = tr("MSFS 2024 飞行计划 (*.pln)");
    const QString fms = tr("X-Plane FMS 计划 (*.fms)");
    QString filter;
    const QString path =
        QFileDialog::getSaveFileName(this, tr("导出飞行计划"), m_plan.displayName().remove('-'),
                                     QStringList{pln, pln2024, fms}.join(QStringLiteral(";;")), &filter);
    if (path.isEmpty())
        return;
    const FlightPlanFile::Format format = filter == fms       ? FlightPlanFile::Format::Fms
                                          : filter == pln2024 ? FlightPlanFile::Format::Pln2024
                                                              : FlightPlanFile::Format::Pln;
    QString target = path;
    const QString suffix = format == FlightPlanFile::Format::Fms ? QStringLiteral(".fms") : QStringLiteral(".pln");
    if (!target.endsWith(suffix, Qt::CaseInsensitive))
        target += suffix;
    exportFile(target, format);
}

void FlightPlanTab::moveWaypoint(int index, double lat, double lon)
{
    if (index < 0 || index >= m_plan.waypoints.size())
        return;
    FlightPlanWaypoint &w = m_plan.waypoints[index];
    w.lat = lat;
    w.lon = lon;
    w.positioned = true;
    if (w.type != Type::Airport)
        w.type = Type::User;
    // Neither leg touching the point follows its airway any more.
    w.airway.clear();
    if (index + 1 < m_plan.waypoints.size())
        m_plan.waypoints[index + 1].airway.clear();
    commit();
}

void FlightPlanTab::addWaypoint(const QString &ident, double lat, double lon, const QString &type)
{
    FlightPlanWaypoint w;
    w.ident = ident;
    w.lat = lat;
    w.lon = lon;
    w.type = type == QLatin1String("APT")                                          ? Type::Airport
             : type.contains(QLatin1String("NDB"))                                 ? Type::Ndb
             : type == QLatin1String("NAV") || type.contains(QLatin1String("VOR")) ? Type::Vor
             : type == QLatin1String("USER")                                       ? Type::User
                                                                                   : Type::Fix;
    w.altitudeFt = m_plan.cruiseAltitudeFt;
    int at = selectedIndex() >= 0 ? selectedIndex() + 1 : int(m_plan.waypoints.size());
    if (selectedIndex() < 0 && !m_plan.waypoints.isEmpty() && m_plan.waypoints.last().segment == Segment::Destination)
        at = int(m_plan.waypoints.size()) - 1;
    m_plan.waypoints.insert(at, w);
    if (at + 1 < m_plan.waypoints.size())
        m_plan.waypoints[at + 1].airway.clear();
    commit();
    selectWaypoint(at);
}

void FlightPlanTab::insertTyped()
{
    const QString ident = m_insertIdent->text().trimmed().toUpper();
    if (ident.isEmpty() || !m_planner)
        return;
    const int after = selectedIndex() >= 0 ? selectedIndex() : int(m_plan.waypoints.size()) - 2;
    const FlightPlanWaypoint near = m_plan.waypoints.value(std::max(0, after));
    FlightPlanWaypoint found;
    if (!m_planner->locate(ident, near.lat, near.lon, &found)) {
        setStatus(tr("导航数据中没有 %1").arg(ident));
        return;
    }
    addWaypoint(found.ident, found.lat, found.lon, FlightPlan::typeName(found.type));
    m_insertIdent->clear();
}

void FlightPlanTab::removeSelected()
{
    const int index = selectedIndex();
    if (index < 0)
        return;
    m_plan.waypoints.removeAt(index);
    if (index < m_plan.waypoints.size())
        m_plan.waypoints[index].airway.clear();
    commit();
    if (!m_plan.waypoints.isEmpty())
        selectWaypoint(std::min(index, int(m_plan.waypoints.size()) - 1));
}

void FlightPlanTab::moveSelected(int delta)
{
    const int index = selectedIndex();
    const int to = index + delta;
    if (index < 0 || to < 0 || to >= m_plan.waypoints.size())
        return;
    m_plan.waypoints.move(index, to);
    for (int i : {std::min(index, to), std::max(index, to), std::max(index, to) + 1}) {
        if (i < m_plan.waypoints.size())
            m_plan.waypoints[i].airway.clear();
    }
    commit();
    selectWaypoint(to);
}

void FlightPlanTab::onAltitudeEdited(int row, int column)
{
    if (m_updatingTable || column != Altitude || row >= m_plan.waypoints.size())
        return;
    bool ok = false;
    const double altitude = m_table->item(row, column)->text().toDouble(&ok);
    if (ok && altitude >= -1500.0 && altitude <= 60000.0)
        m_plan.waypoints[row].altitudeFt = altitude;
    else
        setStatus(tr("高度无效"));
    // Redrawn from the plan later, not from inside the table's own signal.
    QMetaObject::invokeMethod(this, &FlightPlanTab::commit, Qt::QueuedConnection);
}

void FlightPlanTab::placeAtSelected()
{
    const int index = selectedIndex();
    if (index < 0) {
        setStatus(tr("请先选择一个航点"));
        return;
    }
    emit positionRequested(RoutePlanner::placementAt(m_plan, index));
}

void FlightPlanTab::placeBeforeApproach()
{
    RoutePlanner::Placement placement;
    if (!RoutePlanner::placementBeforeArrival(m_plan, m_approachDistance->value(), &placement)) {
        setStatus(tr("飞行计划没有进近航点或目的机场"));
        return;
    }
    emit positionRequested(placement);
}

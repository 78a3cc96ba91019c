#include "plan/flightplansender.h"

#include "plan/flightplanfile.h"
#include "sim/isimbackend.h"

#include <QDir>
#include <QFileInfo>

QString FlightPlanSender::xplanePlanFolder(const QString &xplaneDir)
{
    return QDir(xplaneDir).filePath(QStringLiteral("Output/FMS plans"));
}

QString FlightPlanSender::fileBaseName(const FlightPlan &plan)
{
    QString name;
    for (const QChar c : plan.departure + plan.destination) {
        if (c.isLetterOrNumber() && c.unicode() < 128)
            name += c;
    }
    return name.isEmpty() ? QStringLiteral("PLAN") : name;
}

bool FlightPlanSender::send(const FlightPlan &plan, ISimBackend *backend, const QString &plnFolder, QString *message)
{
    if (plan.waypoints.size() < 2) {
        *message = tr("飞行计划至少需要两个航点");
        return false;
    }
    if (!backend) {
        *message = tr("未连接模拟器");
        return false;
    }
    const SimType type = backend->simType();
    QString error;
    if (type == SimType::XPlane11 || type == SimType::XPlane12) {
        const QString xplaneDir = backend->simPath();
        const QString folder = xplanePlanFolder(xplaneDir);
        if (xplaneDir.isEmpty() || !QFileInfo(folder).isDir()) {
            *message = tr("X-Plane 不在本机或其目录未设置（设置中的 X-Plane 路径），无法写入 FMS 计划");
            return false;
        }
        const QString path = QDir(folder).filePath(fileBaseName(plan) + QStringLiteral(".fms"));
        if (!FlightPlanFile::write(plan, path, FlightPlanFile::Format::Fms, &error)) {
            *message = tr("写入失败：%1").arg(error);
            return false;
        }
        *message = tr("已写入 %1，可在 X-Plane 的 FMS 中加载").arg(QDir::toNativeSeparators(path));
        return true;
    }
    if (type == SimType::None || !backend->isConnected()) {
        *message = tr("未连接模拟器");
        return false;
    }
    if (!QDir().mkpath(plnFolder)) {
        *message = tr("无法创建目录 %1").arg(QDir::toNativeSeparators(plnFolder));
        return false;
    }
    const QString path = QDir(plnFolder).absoluteFilePath(fileBaseName(plan) + QStringLiteral(".pln"));
    if (!FlightPlanFile::write(plan, path, FlightPlanFile::Format::Pln, &error)) {
        *message = tr("写入失败：%1").arg(error);
        return false;
    }
    backend->loadFlightPlan(QDir::toNativeSeparators(path));
    *message = tr("已发送飞行计划 %1 到模拟器").arg(QDir::toNativeSeparators(path));
    return true;
}

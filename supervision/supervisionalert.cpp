#include "supervision/supervisionalert.h"

#include <cmath>

QString SupervisionAlert::key() const
{
    QStringList ids = aircraftIds;
    ids.sort(); // a conflict between A and B is the one between B and A
    return QStringLiteral("%1|%2").arg(int(kind)).arg(ids.join(QLatin1Char('|')));
}

QString SupervisionAlert::displayName(int index) const
{
    // The own aircraft without a callsign is named in the language of the station.
    const QString label = labels.value(index);
    if (aircraftIds.value(index) == QLatin1String("own") && (label.isEmpty() || label == QLatin1String("own")))
        return tr("本机");
    return label;
}

QString SupervisionAlert::message() const
{
    const QString first = displayName(0);
    const auto whole = [](double v) { return QString::number(std::lround(v)); };
    const auto tenths = [](double v) { return QString::number(v, 'f', 1); };
    switch (kind) {
    case Kind::Conflict:
        return tr("冲突告警：%1 与 %2，%3 秒后最接近，水平 %4 海里，垂直 %5 英尺")
            .arg(first, displayName(1), whole(value1), tenths(value2), whole(value3));
    case Kind::RouteDeviation:
        return tr("航线偏离：%1 偏离航线 %2 海里（限度 %3 海里）").arg(first, tenths(value1), tenths(value2));
    case Kind::AltitudeDeviation:
        return tr("高度偏离：%1 高度 %2 英尺，指令高度 %3 英尺").arg(first, whole(value1), whole(value2));
    case Kind::BelowSafeAltitude:
        return tr("低于最低安全高度：%1 高度 %2 英尺，最低安全高度 %3 英尺").arg(first, whole(value1), whole(value2));
    case Kind::TerrainClearance:
        return tr("离地高度过低：%1 离地 %2 英尺（最低 %3 英尺）").arg(first, whole(value1), whole(value2));
    }
    return QString();
}

QString SupervisionAlert::kindText(Kind kind)
{
    switch (kind) {
    case Kind::Conflict:
        return tr("冲突");
    case Kind::RouteDeviation:
        return tr("航线偏离");
    case Kind::AltitudeDeviation:
        return tr("高度偏离");
    case Kind::BelowSafeAltitude:
        return tr("安全高度");
    case Kind::TerrainClearance:
        return tr("离地高度");
    }
    return QString();
}

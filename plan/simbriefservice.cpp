#include "plan/simbriefservice.h"

#include "app/log/applogger.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QStringList>
#include <QUrlQuery>
#include <QXmlStreamReader>

#include <cmath>

namespace {

void logOfp(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, QStringLiteral("SimBrief"), message);
}

double toDouble(const QString &text)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    return ok && std::isfinite(value) ? value : 0.0;
}

// "h:mm" gives minutes; any other shape keeps the previous value.
void readHoursMinutes(const QString &text, int *minutes)
{
    const QStringList parts = text.split(QLatin1Char(':'), Qt::KeepEmptyParts);
    if (parts.size() == 2)
        *minutes = parts[0].toInt() * 60 + parts[1].toInt();
}

// Values of the flat shape, by the element names of the table.
struct FlatValues
{
    SimBriefService::OFPData data;
    QStringList fixes;

    void apply(QStringView name, const QString &raw)
    {
        const QString text = raw.trimmed();
        if (name == QLatin1String("origin"))
            data.origin = text.toUpper();
        else if (name == QLatin1String("destination"))
            data.destination = text.toUpper();
        else if (name == QLatin1String("route"))
            data.route = text;
        else if (name == QLatin1String("aircraftICAO"))
            data.aircraftIcao = text;
        else if (name == QLatin1String("aircraftName"))
            data.aircraftName = text;
        else if (name == QLatin1String("flightlevel"))
            data.flightLevel = text.toInt();
        else if (name == QLatin1String("cruisektas"))
            data.cruiseTas = text.toInt();
        else if (name == QLatin1String("distance"))
            data.distance = toDouble(text);
        else if (name == QLatin1String("estgroundtime"))
            readHoursMinutes(text, &data.estGroundTimeMin);
        else if (name == QLatin1String("estflighttime"))
            readHoursMinutes(text, &data.estFlightTimeMin);
        else if (name == QLatin1String("fuel_plan_ramp"))
            data.rampFuel = toDouble(text);
        else if (name == QLatin1String("payload"))
            data.payload = toDouble(text);
        else if (name == QLatin1String("zfw"))
            data.zfw = toDouble(text);
        else if (name == QLatin1String("tow"))
            data.tow = toDouble(text);
        else if (name == QLatin1String("ldw"))
            data.ldw = toDouble(text);
    }

    static bool isField(QStringView name)
    {
        static const QStringList names{QStringLiteral("origin"),
                                       QStringLiteral("destination"),
                                       QStringLiteral("route"),
                                       QStringLiteral("aircraftICAO"),
                                       QStringLiteral("aircraftName"),
                                       QStringLiteral("flightlevel"),
                                       QStringLiteral("cruisektas"),
                                       QStringLiteral("distance"),
                                       QStringLiteral("estgroundtime"),
                                       QStringLiteral("estflighttime"),
                                       QStringLiteral("fuel_plan_ramp"),
                                       QStringLiteral("payload"),
                                       QStringLiteral("zfw"),
                                       QStringLiteral("tow"),
                                       QStringLiteral("ldw")};
        return names.contains(name);
    }
};

// Values of the sectioned shape, by section and field.
struct SectionValues
{
    SimBriefService::OFPData data;
    bool hasOrigin = false;
    bool hasDestination = false;
    bool hasOriginPosition = false;
    bool hasDestinationPosition = false;
    QList<SimBriefService::OFPFix> fixes;

    void apply(QStringView section, QStringView field, const QString &raw)
    {
        const QString text = raw.trimmed();
        if (section == QLatin1String("origin")) {
            if (field == QLatin1String("icao_code")) {
                data.origin = text.toUpper();
                hasOrigin = true;
            } else if (field == QLatin1String("plan_rwy")) {
                data.originRunway = text.toUpper();
            } else if (field == QLatin1String("pos_lat")) {
                data.originLat = toDouble(text);
                hasOriginPosition = true;
            } else if (field == QLatin1String("pos_long")) {
                data.originLon = toDouble(text);
            }
        } else if (section == QLatin1String("destination")) {
            if (field == QLatin1String("icao_code")) {
                data.destination = text.toUpper();
                hasDestination = true;
            } else if (field == QLatin1String("plan_rwy")) {
                data.destinationRunway = text.toUpper();
            } else if (field == QLatin1String("pos_lat")) {
                data.destinationLat = toDouble(text);
                hasDestinationPosition = true;
            } else if (field == QLatin1String("pos_long")) {
                data.destinationLon = toDouble(text);
            }
        } else if (section == QLatin1String("general")) {
            if (field == QLatin1String("route"))
                data.route = text;
            else if (field == QLatin1String("initial_altitude"))
                data.flightLevel = qRound(toDouble(text) / 100.0);
            else if (field == QLatin1String("cruise_tas"))
                data.cruiseTas = qRound(toDouble(text));
            else if (field == QLatin1String("route_distance"))
                data.distance = toDouble(text);
        } else if (section == QLatin1String("aircraft")) {
            if (field == QLatin1String("icaocode"))
                data.aircraftIcao = text;
            else if (field == QLatin1String("name"))
                data.aircraftName = text;
        } else if (section == QLatin1String("fuel")) {
            if (field == QLatin1String("plan_ramp"))
                data.rampFuel = toDouble(text);
        } else if (section == QLatin1String("weights")) {
            if (field == QLatin1String("payload"))
                data.payload = toDouble(text);
            else if (field == QLatin1String("est_zfw"))
                data.zfw = toDouble(text);
            else if (field == QLatin1String("est_tow"))
                data.tow = toDouble(text);
            else if (field == QLatin1String("est_ldw"))
                data.ldw = toDouble(text);
        } else if (section == QLatin1String("times")) {
            if (field == QLatin1String("est_time_enroute"))
                data.estFlightTimeMin = qRound(toDouble(text) / 60.0);
            else if (field == QLatin1String("est_block"))
                data.estGroundTimeMin = qRound(toDouble(text) / 60.0);
        } else if (section == QLatin1String("params")) {
            if (field == QLatin1String("units"))
                data.weightUnit = text.toLower();
        }
    }

    void applyFix(QStringView field, const QString &raw)
    {
        if (fixes.isEmpty())
            return;
        SimBriefService::OFPFix &fix = fixes.last();
        const QString text = raw.trimmed();
        if (field == QLatin1String("ident"))
            fix.ident = text;
        else if (field == QLatin1String("type"))
            fix.type = text.toLower();
        else if (field == QLatin1String("pos_lat"))
            fix.lat = toDouble(text);
        else if (field == QLatin1String("pos_long"))
            fix.lon = toDouble(text);
        else if (field == QLatin1String("via_airway"))
            fix.airway = text;
        else if (field == QLatin1String("altitude_feet"))
            fix.altitudeFt = qRound(toDouble(text));
        else if (field == QLatin1String("is_sid_star"))
            fix.sidStar = text == QLatin1String("1");
    }
};

bool isPseudoFix(const QString &ident)
{
    return ident == QLatin1String("TOC") || ident == QLatin1String("TOD");
}

} // namespace

double SimBriefService::OFPData::toKg(double weight) const
{
    return weightUnit == QLatin1String("lbs") ? weight * kKgPerLb : weight;
}

SimBriefService::SimBriefService(QObject *parent)
    : QObject(parent), m_network(new QNetworkAccessManager(this)), m_host(QString::fromLatin1(kDefaultHost))
{
}

void SimBriefService::setHost(const QUrl &host)
{
    m_host = host;
}

void SimBriefService::fetchOFP(const QString &username)
{
    const QString user = username.trimmed();
    if (user.isEmpty()) {
        emit ofpError(tr("用户名不能为空"));
        return;
    }
    QUrl url = m_host;
    QString path = m_host.path();
    if (path.endsWith(QLatin1Char('/')))
        path.chop(1);
    url.setPath(path + QLatin1String(kFetcherPath));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("username"), user);
    query.addQueryItem(QStringLiteral("json"), QStringLiteral("0"));
    url.setQuery(query);
    get(url);
}

void SimBriefService::importFromUrl(const QString &url)
{
    get(QUrl::fromUserInput(url.trimmed()));
}

void SimBriefService::get(const QUrl &url)
{
    logOfp(AppLogger::Info, QStringLiteral("Fetching OFP from %1").arg(url.toDisplayString(QUrl::RemoveQuery)));
    QNetworkRequest request(url);
    request.setTransferTimeout(30000);
    QNetworkReply *reply = m_network->get(request);
    connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received, qint64) {
        if (received > kMaxReplyBytes)
            reply->abort();
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply] { onReplyFinished(reply); });
}

void SimBriefService::onReplyFinished(QNetworkReply *reply)
{
    reply->deleteLater();
    if (reply->error() != QNetworkReply::NoError) {
        logOfp(AppLogger::Warning, QStringLiteral("OFP request failed: %1").arg(reply->errorString()));
        emit ofpError(reply->errorString());
        return;
    }
    const OFPData ofp = parseOFP(reply->readAll());
    if (!ofp.valid) {
        logOfp(AppLogger::Warning, QStringLiteral("OFP without origin or destination"));
        emit ofpError(tr("解析 SimBrief XML 失败"));
        return;
    }
    logOfp(AppLogger::Info, QStringLiteral("OFP %1-%2 received").arg(ofp.origin, ofp.destination));
    emit ofpReceived(ofp);
}

SimBriefService::OFPData SimBriefService::parseOFP(const QByteArray &document)
{
    QXmlStreamReader xml(document);
    FlatValues flat;
    SectionValues sections;
    QList<QString> path;  // open elements, the root first
    bool pending = false; // the current token was read ahead and is still to be handled
    while (!xml.atEnd()) {
        if (!pending)
            xml.readNext();
        pending = false;
        if (xml.isEndElement()) {
            if (!path.isEmpty())
                path.removeLast();
            continue;
        }
        if (!xml.isStartElement())
            continue;
        const QString name = xml.name().toString();
        path.append(name);
        const qsizetype depth = path.size();
        const bool inNavlogFix =
            depth >= 3 && path[depth - 2] == QLatin1String("fix") && path[depth - 3] == QLatin1String("navlog");
        const bool sectionField = depth == 3;
        if (depth == 3 && name == QLatin1String("fix") && path[1] == QLatin1String("navlog"))
            sections.fixes.append(OFPFix());
        if (!FlatValues::isField(name) && !inNavlogFix && !sectionField)
            continue;

        // The text is the token right after the start tag; an element that opens with a child
        // element yields whitespace. The token read ahead is handled by the next turn.
        xml.readNext();
        pending = true;
        const QString text = xml.isCharacters() ? xml.text().toString() : QString();
        if (FlatValues::isField(name))
            flat.apply(name, text);
        if (inNavlogFix && name == QLatin1String("ident")) {
            const QString ident = text.trimmed();
            flat.fixes.append(ident);
        }
        if (sectionField)
            sections.apply(path[1], name, text);
        if (depth == 4 && inNavlogFix && path[1] == QLatin1String("navlog"))
            sections.applyFix(name, text);
    }

    OFPData result;
    if (sections.hasOrigin || sections.hasDestination) {
        result = sections.data;
        QStringList idents;
        for (const OFPFix &fix : std::as_const(sections.fixes)) {
            if (fix.ident.isEmpty() || isPseudoFix(fix.ident))
                continue;
            idents.append(fix.ident);
            result.fixes.append(fix);
        }
        result.fixList = idents.join(QLatin1Char(' '));
        result.hasAirportPositions = sections.hasOriginPosition && sections.hasDestinationPosition;
    } else {
        result = flat.data;
        QStringList idents;
        for (const QString &ident : std::as_const(flat.fixes)) {
            if (!ident.isEmpty())
                idents.append(ident);
        }
        result.fixList = idents.join(QLatin1Char(' '));
    }
    result.valid = !result.origin.isEmpty() && !result.destination.isEmpty();
    return result;
}

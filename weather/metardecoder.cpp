#include "weather/metardecoder.h"

#include <QRegularExpression>

#include <array>

namespace {

const QRegularExpression &stationPattern()
{
    static const QRegularExpression re(QStringLiteral("^[A-Z]{4}$"));
    return re;
}

const QRegularExpression &timePattern()
{
    static const QRegularExpression re(QStringLiteral("^\\d{6}Z$"));
    return re;
}

bool endsReport(const QString &token)
{
    return token == QLatin1String("RMK") || token == QLatin1String("NOSIG") || token == QLatin1String("TEMPO") ||
           token == QLatin1String("BECMG");
}

} // namespace

bool MetarDecoder::parseWind(const QString &token, MetarData &data)
{
    static const QRegularExpression re(QStringLiteral("^(VRB|\\d{3})(\\d{2,3})(G(\\d{2,3}))?KT$"));
    const QRegularExpressionMatch m = re.match(token);
    if (!m.hasMatch())
        return false;
    if (m.captured(1) == QLatin1String("VRB")) {
        data.windVariable = true;
        data.windDirectionDeg.reset();
    } else {
        data.windVariable = false;
        data.windDirectionDeg = m.captured(1).toInt();
    }
    data.windSpeedKt = m.captured(2).toInt();
    if (m.capturedLength(4) > 0)
        data.windGustKt = m.captured(4).toInt();
    else
        data.windGustKt.reset();
    return true;
}

bool MetarDecoder::parseVisibility(const QString &token, MetarData &data)
{
    static const QRegularExpression re(QStringLiteral("^(\\d{4})$"));
    const QRegularExpressionMatch m = re.match(token);
    if (!m.hasMatch())
        return false;
    data.visibilityM = m.captured(1).toInt();
    return true;
}

bool MetarDecoder::parsePhenomenon(const QString &token, MetarData &data)
{
    static const QRegularExpression re(QStringLiteral("^([-+]?)(VC)?(MI|BC|PR|DR|BL|SH|TS|FZ)?"
                                                      "(DZ|RA|SN|SG|IC|PL|GR|GS|UP)?(BR|FG|FU|VA|DU|SA|HZ|PY)?"
                                                      "(PO|SQ|FC|SS|DS)?(NSW)?$"));
    const QRegularExpressionMatch m = re.match(token);
    if (!m.hasMatch())
        return false;
    // Every part of the pattern is optional; an intensity or "VC" alone says nothing.
    bool described = false;
    for (int group = 3; group <= 7; ++group)
        described = described || m.capturedLength(group) > 0;
    if (!described)
        return false;
    data.phenomena.append(token);
    return true;
}

bool MetarDecoder::parseCloud(const QString &token, MetarData &data)
{
    static const QRegularExpression re(QStringLiteral("^(FEW|SCT|BKN|OVC|NSC|SKC|CLR)(\\d{3})?(CB|TCU)?$"));
    const QRegularExpressionMatch m = re.match(token);
    if (!m.hasMatch())
        return false;
    MetarData::CloudLayer layer;
    layer.cover = m.captured(1);
    if (m.capturedLength(2) > 0)
        layer.baseFt = m.captured(2).toInt() * 100;
    layer.type = m.captured(3);
    data.clouds.append(layer);
    return true;
}

bool MetarDecoder::parseTemperature(const QString &token, MetarData &data)
{
    static const QRegularExpression re(QStringLiteral("^(M?)(\\d{2})/(M?)(\\d{2})$"));
    const QRegularExpressionMatch m = re.match(token);
    if (!m.hasMatch())
        return false;
    const int temperature = m.captured(2).toInt();
    const int dewpoint = m.captured(4).toInt();
    data.temperatureC = m.capturedLength(1) > 0 ? -temperature : temperature;
    data.dewpointC = m.capturedLength(3) > 0 ? -dewpoint : dewpoint;
    return true;
}

bool MetarDecoder::parsePressure(const QString &token, MetarData &data)
{
    static const QRegularExpression re(QStringLiteral("^([QA])(\\d{4})$"));
    const QRegularExpressionMatch m = re.match(token);
    if (!m.hasMatch())
        return false;
    const int value = m.captured(2).toInt();
    if (m.captured(1) == QLatin1String("Q")) {
        data.pressureHpa = double(value);
        data.altimeterInHg.reset();
    } else {
        data.altimeterInHg = value / 100.0;
        data.pressureHpa = *data.altimeterInHg * kHpaPerInHg;
    }
    return true;
}

MetarData MetarDecoder::decode(const QString &text) const
{
    MetarData data;
    data.raw = text;
    const QStringList tokens = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    qsizetype i = 0;
    if (i < tokens.size() && (tokens[i] == QLatin1String("METAR") || tokens[i] == QLatin1String("SPECI")))
        ++i;
    if (i < tokens.size() && stationPattern().match(tokens[i]).hasMatch())
        data.station = tokens[i++];
    if (i < tokens.size() && timePattern().match(tokens[i]).hasMatch())
        data.time = tokens[i++];
    while (i < tokens.size() && (tokens[i] == QLatin1String("AUTO") || tokens[i] == QLatin1String("COR") ||
                                 tokens[i] == QLatin1String("NIL")))
        ++i;

    using Parser = bool (*)(const QString &, MetarData &);
    struct Group
    {
        Parser parse;
        bool repeats;
    };
    static constexpr std::array<Group, 6> groups{{
        {&MetarDecoder::parseWind, false},
        {&MetarDecoder::parseVisibility, false},
        {&MetarDecoder::parsePhenomenon, true},
        {&MetarDecoder::parseCloud, true},
        {&MetarDecoder::parseTemperature, false},
        {&MetarDecoder::parsePressure, false},
    }};
    size_t next = 0; // the first group still open
    for (; i < tokens.size() && next < groups.size(); ++i) {
        const QString &token = tokens[i];
        if (endsReport(token))
            break;
        for (size_t g = next; g < groups.size(); ++g) {
            if (groups[g].parse(token, data)) {
                next = groups[g].repeats ? g : g + 1;
                break;
            }
        }
    }
    data.valid = !data.station.isEmpty();
    return data;
}

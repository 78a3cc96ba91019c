#include "nav/openaipreader.h"

#include "nav/openairparser.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QXmlStreamReader>

#include <cmath>

// The two OpenAIP formats: the XML of its ".aip" exports and the JSON of its web API. Limits are
// converted to feet; a polygon is kept in the order the file gives it.

namespace {

constexpr double kFeetPerMetre = 3.28083989501;

QString openAipCategoryType(const QString &category)
{
    const QString c = category.trimmed().toUpper();
    if (c == QLatin1String("GLIDING") || c == QLatin1String("WAVE"))
        return QStringLiteral("GLZ");
    if (c == QLatin1String("OTH"))
        return QString();
    return OpenAirParser::typeForCode(c);
}

// The API's numeric type first; type 0 ("other") and types without a counterpart fall back on
// the ICAO class.
QString openAipApiType(int type, int icaoClass)
{
    static const QHash<int, QString> kTypes{
        {1, QStringLiteral("RESTRICTED")}, {2, QStringLiteral("DANGER")},     {3, QStringLiteral("PROHIBITED")},
        {4, QStringLiteral("CTR")},        {5, QStringLiteral("TMZ")},        {6, QStringLiteral("RMZ")},
        {7, QStringLiteral("TMA")},        {8, QStringLiteral("RESTRICTED")}, {9, QStringLiteral("RESTRICTED")},
        {10, QStringLiteral("FIR")},       {11, QStringLiteral("UIR")},       {13, QStringLiteral("CTR")},
        {14, QStringLiteral("MATZ")},      {17, QStringLiteral("WARNING")},   {18, QStringLiteral("WARNING")},
        {21, QStringLiteral("GLZ")},       {26, QStringLiteral("TMA")}};
    const QString mapped = kTypes.value(type);
    if (!mapped.isEmpty())
        return mapped;
    if (icaoClass >= 0 && icaoClass <= 6)
        return QStringLiteral("CLASS_") + QLatin1Char(char('A' + icaoClass));
    return QString();
}

bool openAipApiLimit(const QJsonValue &value, int *feet)
{
    const QJsonObject limit = value.toObject();
    if (!limit.contains(QLatin1String("value")))
        return false;
    const double amount = limit.value(QLatin1String("value")).toDouble();
    switch (limit.value(QLatin1String("unit")).toInt(1)) {
    case 0:
        *feet = int(std::lround(amount * kFeetPerMetre));
        return true;
    case 1:
        *feet = int(std::lround(amount));
        return true;
    case 6:
        *feet = int(std::lround(amount * 100.0));
        return true;
    default:
        return false;
    }
}

// Reads the "items" of an API reply (or a bare array, or one airspace object).
} // namespace

QString readOpenAipJson(const QByteArray &bytes, QList<OpenAirAirspace> *out, int *skipped)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        ++*skipped;
        const int line = int(bytes.left(error.offset).count('\n')) + 1;
        return QStringLiteral("line %1: %2").arg(line).arg(error.errorString());
    }
    QJsonArray items;
    if (doc.isArray())
        items = doc.array();
    else if (doc.object().contains(QLatin1String("items")))
        items = doc.object().value(QLatin1String("items")).toArray();
    else
        items.append(doc.object());
    for (const QJsonValue &item : items) {
        const QJsonObject o = item.toObject();
        OpenAirAirspace a;
        a.name = o.value(QLatin1String("name")).toString();
        a.type =
            openAipApiType(o.value(QLatin1String("type")).toInt(-1), o.value(QLatin1String("icaoClass")).toInt(-1));
        const QJsonArray ring =
            o.value(QLatin1String("geometry")).toObject().value(QLatin1String("coordinates")).toArray().at(0).toArray();
        for (const QJsonValue &point : ring) {
            const QJsonArray pair = point.toArray();
            if (pair.size() >= 2)
                a.boundary.append(QPointF(pair.at(1).toDouble(), pair.at(0).toDouble()));
        }
        if (a.type.isEmpty() || a.boundary.size() < 3 ||
            !openAipApiLimit(o.value(QLatin1String("lowerLimit")), &a.bottomFt) ||
            !openAipApiLimit(o.value(QLatin1String("upperLimit")), &a.topFt)) {
            ++*skipped;
            continue;
        }
        out->append(a);
    }
    return QString();
}

namespace {

bool openAipXmlLimit(QXmlStreamReader &xml, int *feet)
{
    // <ALTLIMIT_TOP REFERENCE="STD"><ALT UNIT="FL">100</ALT></ALTLIMIT_TOP>
    const QString reference = xml.attributes().value(QLatin1String("REFERENCE")).toString();
    bool found = false;
    while (xml.readNextStartElement()) {
        if (xml.name() != QLatin1String("ALT")) {
            xml.skipCurrentElement();
            continue;
        }
        const QString unit = xml.attributes().value(QLatin1String("UNIT")).toString().toUpper();
        bool ok = false;
        const double value = xml.readElementText().trimmed().toDouble(&ok);
        if (!ok)
            continue;
        found = true;
        if (unit == QLatin1String("FL"))
            *feet = int(std::lround(value * 100.0));
        else if (unit == QLatin1String("M"))
            *feet = int(std::lround(value * kFeetPerMetre));
        else
            *feet = int(std::lround(value));
    }
    if (!found && reference == QLatin1String("GND")) {
        *feet = 0;
        return true;
    }
    return found;
}

void readOpenAipPolygon(QXmlStreamReader &xml, OpenAirAirspace *a)
{
    // <GEOMETRY><POLYGON>lon lat, lon lat, ...</POLYGON></GEOMETRY>
    while (xml.readNextStartElement()) {
        if (xml.name() != QLatin1String("POLYGON")) {
            xml.skipCurrentElement();
            continue;
        }
        const QStringList pairs = xml.readElementText().split(QLatin1Char(','), Qt::SkipEmptyParts);
        for (const QString &pair : pairs) {
            const QStringList parts = pair.simplified().split(QLatin1Char(' '));
            bool okLon = false;
            bool okLat = false;
            const double lon = parts.value(0).toDouble(&okLon);
            const double lat = parts.value(1).toDouble(&okLat);
            if (parts.size() == 2 && okLon && okLat)
                a->boundary.append(QPointF(lat, lon));
        }
    }
}

// One <ASP> element, the reader standing on its start.
bool readOpenAipAirspace(QXmlStreamReader &xml, OpenAirAirspace *a)
{
    a->type = openAipCategoryType(xml.attributes().value(QLatin1String("CATEGORY")).toString());
    bool hasTop = false;
    bool hasBottom = false;
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("NAME"))
            a->name = xml.readElementText().trimmed();
        else if (xml.name() == QLatin1String("ALTLIMIT_TOP"))
            hasTop = openAipXmlLimit(xml, &a->topFt);
        else if (xml.name() == QLatin1String("ALTLIMIT_BOTTOM"))
            hasBottom = openAipXmlLimit(xml, &a->bottomFt);
        else if (xml.name() == QLatin1String("GEOMETRY"))
            readOpenAipPolygon(xml, a);
        else
            xml.skipCurrentElement();
    }
    return !a->type.isEmpty() && hasTop && hasBottom && a->boundary.size() >= 3;
}

} // namespace

QString readOpenAipXml(const QByteArray &bytes, QList<OpenAirAirspace> *out, int *skipped)
{
    QXmlStreamReader xml(bytes);
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement() || xml.name() != QLatin1String("ASP"))
            continue;
        OpenAirAirspace a;
        if (readOpenAipAirspace(xml, &a))
            out->append(a);
        else
            ++*skipped;
    }
    // A file cut short or damaged still gives the airspaces before the fault; the rest counts as one.
    if (!xml.hasError())
        return QString();
    ++*skipped;
    return QStringLiteral("line %1: %2").arg(xml.lineNumber()).arg(xml.errorString());
}

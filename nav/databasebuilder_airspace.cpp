#include "nav/databasebuilder.h"
#include "nav/importsupport_p.h"
#include "nav/openairparser.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>
#include <QXmlStreamReader>

#include <cmath>

// Airspace files into airspaces: OpenAir text files and OpenAIP exports (the XML ".aip" format and
// the JSON of its web API). Both add to the table. The boundary is stored as "lon,lat" pairs
// separated by blanks.

using namespace navimport;

namespace {

constexpr double kFeetPerMetre = 3.28083989501;

QString boundaryText(const QList<QPointF> &points)
{
    QString text;
    text.reserve(points.size() * 24);
    for (const QPointF &p : points) {
        if (!text.isEmpty())
            text.append(QLatin1Char(' '));
        text.append(QStringLiteral("%1,%2").arg(p.x(), 0, 'f', 6).arg(p.y(), 0, 'f', 6));
    }
    return text;
}

// Files are meant to be UTF-8; older ones are often Latin-1.
QString decodeText(const QByteArray &bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8);
    QString text = utf8(bytes);
    if (utf8.hasError())
        text = QString::fromLatin1(bytes);
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    return text;
}

QStringList filesIn(const QDir &dir, const QStringList &patterns)
{
    QStringList files;
    for (const QFileInfo &entry : dir.entryInfoList(patterns, QDir::Files, QDir::Name | QDir::IgnoreCase))
        files.append(entry.filePath());
    return files;
}

// One airspace import's database side.
class AirspaceWriter
{
public:
    AirspaceWriter(DatabaseBuilder &builder, ImportSession &session, const QString &path)
        : m_builder(builder), m_session(session), m_path(path)
    {
    }
    bool open()
    {
        m_builder.createSchema(m_path);
        if (!m_session.open() || !runSchemaStatements(m_session, {22}) || !m_session.begin())
            return false;
        if (m_insert.prepare(m_session.db(),
                             QStringLiteral("INSERT INTO airspaces (name, type, bottom_alt, top_alt, boundary) VALUES "
                                            "(?, ?, ?, ?, ?)"),
                             5))
            return true;
        m_session.fail(QStringLiteral("prepare failed: %1").arg(m_insert.errorText()));
        return false;
    }
    bool write(const OpenAirAirspace &a)
    {
        m_insert.bind(0, a.name);
        m_insert.bind(1, a.type);
        m_insert.bindInt(2, a.bottomFt);
        m_insert.bindInt(3, a.topFt);
        m_insert.bind(4, boundaryText(a.boundary));
        if (m_insert.exec())
            return true;
        m_session.fail(QStringLiteral("airspace insert failed: %1").arg(m_insert.errorText()));
        return false;
    }
    int rows() const { return m_insert.rows(); }

private:
    DatabaseBuilder &m_builder;
    ImportSession &m_session;
    QString m_path;
    CachedInsert m_insert;
};

// ---- OpenAIP ------------------------------------------------------------------------------------

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
void readOpenAipJson(const QByteArray &bytes, QList<OpenAirAirspace> *out, int *skipped)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        ++*skipped;
        return;
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
                a.boundary.append(QPointF(pair.at(0).toDouble(), pair.at(1).toDouble()));
        }
        if (a.type.isEmpty() || a.boundary.size() < 3 ||
            !openAipApiLimit(o.value(QLatin1String("lowerLimit")), &a.bottomFt) ||
            !openAipApiLimit(o.value(QLatin1String("upperLimit")), &a.topFt)) {
            ++*skipped;
            continue;
        }
        out->append(a);
    }
}

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
                a->boundary.append(QPointF(lon, lat));
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

void readOpenAipXml(const QByteArray &bytes, QList<OpenAirAirspace> *out, int *skipped)
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
    // A file cut short still gives the airspaces before the cut; the rest counts as one.
    if (xml.hasError())
        ++*skipped;
}

} // namespace

bool DatabaseBuilder::importOpenAirAirspaces(const QString &path, const QString &dir)
{
    const QString op = QStringLiteral("importOpenAirAirspaces");
    const QString stage = QStringLiteral("openair");
    ImportSession session(*this, QStringLiteral("openair_import"), path, op);
    const QDir folder(dir);
    if (dir.isEmpty() || !folder.exists()) {
        session.fail(QStringLiteral("OpenAir airspaces directory not found: %1").arg(dir));
        return session.finish(QString());
    }
    const QStringList files =
        filesIn(folder, {QStringLiteral("*.txt"), QStringLiteral("*.openair"), QStringLiteral("*.air")});
    if (files.isEmpty()) {
        session.fail(QStringLiteral("No OpenAir files (*.txt, *.openair, *.air) found in %1").arg(dir));
        return session.finish(QString());
    }
    AirspaceWriter writer(*this, session, path);
    OpenAirParser parser;
    if (writer.open()) {
        for (int i = 0; i < files.size() && !session.failed() && !session.cancelled(); ++i) {
            QFile in(files.at(i));
            if (!in.open(QIODevice::ReadOnly)) {
                session.fail(QStringLiteral("%1: cannot open %2: %3").arg(op, files.at(i), in.errorString()));
                break;
            }
            const QStringList lines = decodeText(in.readAll()).split(QLatin1Char('\n'));
            for (const QString &line : lines)
                parser.addLine(line);
            parser.finish();
            for (const OpenAirAirspace &airspace : parser.takeAirspaces()) {
                if (!writer.write(airspace))
                    break;
            }
            session.progress(stage, i + 1, files.size());
        }
    }
    const int skipped = parser.skippedLines() + parser.skippedAirspaces();
    return session.finish(QStringLiteral("importOpenAirAirspaces: imported %1 airspaces from %2 files%3")
                              .arg(writer.rows())
                              .arg(files.size())
                              .arg(skipped > 0
                                       ? QStringLiteral(" (%1 malformed lines and %2 unusable airspaces skipped)")
                                             .arg(parser.skippedLines())
                                             .arg(parser.skippedAirspaces())
                                       : QString()));
}

bool DatabaseBuilder::importOpenAIPAirspaces(const QString &path, const QString &dir)
{
    const QString op = QStringLiteral("importOpenAIPAirspaces");
    const QString stage = QStringLiteral("openaip");
    ImportSession session(*this, QStringLiteral("airspaces_openair"), path, op);
    const QDir folder(dir);
    if (dir.isEmpty() || !folder.exists()) {
        session.fail(QStringLiteral("OpenAIP airspaces directory not found: %1").arg(dir));
        return session.finish(QString());
    }
    const QStringList files =
        filesIn(folder, {QStringLiteral("*.aip"), QStringLiteral("*.xml"), QStringLiteral("*.json")});
    if (files.isEmpty()) {
        session.fail(QStringLiteral("No OpenAIP files (*.aip, *.xml, *.json) found in %1").arg(dir));
        return session.finish(QString());
    }
    AirspaceWriter writer(*this, session, path);
    int skipped = 0;
    if (writer.open()) {
        for (int i = 0; i < files.size() && !session.failed() && !session.cancelled(); ++i) {
            QFile in(files.at(i));
            if (!in.open(QIODevice::ReadOnly)) {
                session.fail(QStringLiteral("%1: cannot open %2: %3").arg(op, files.at(i), in.errorString()));
                break;
            }
            QList<OpenAirAirspace> airspaces;
            if (files.at(i).endsWith(QLatin1String(".json"), Qt::CaseInsensitive))
                readOpenAipJson(in.readAll(), &airspaces, &skipped);
            else
                readOpenAipXml(in.readAll(), &airspaces, &skipped);
            for (const OpenAirAirspace &airspace : airspaces) {
                if (!writer.write(airspace))
                    break;
            }
            session.progress(stage, i + 1, files.size());
        }
    }
    return session.finish(
        QStringLiteral("importOpenAIPAirspaces: imported %1 airspaces from %2 files%3")
            .arg(writer.rows())
            .arg(files.size())
            .arg(skipped > 0 ? QStringLiteral(" (%1 unusable airspaces skipped)").arg(skipped) : QString()));
}

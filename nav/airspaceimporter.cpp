#include "nav/airspaceimporter.h"

#include "nav/airspaceboundary.h"
#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/navschema.h"
#include "nav/openaipreader.h"
#include "nav/openairparser.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

// Airspace files into airspaces: OpenAir text files and OpenAIP exports (the XML ".aip" format and
// the JSON of its web API). Both add to the table. The boundary is stored as "lon,lat" pairs
// separated by blanks.

using namespace navimport;

namespace {

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
        if (!m_session.open() || !createTables(m_session, {&schema::Airspaces}) || !m_session.begin())
            return false;
        if (m_insert.prepare(m_session.db(), QLatin1String(schema::insert::Airspace), 5))
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
        m_insert.bind(4, formatAirspaceBoundary(a.boundary));
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

} // namespace

bool AirspaceImporter::importOpenAir(const QString &path, const QString &dir)
{
    const QString op = QStringLiteral("importOpenAirAirspaces");
    const QString stage = QStringLiteral("openair");
    ImportSession session(m_builder, QStringLiteral("openair_import"), path, op);
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
    AirspaceWriter writer(m_builder, session, path);
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

bool AirspaceImporter::importOpenAip(const QString &path, const QString &dir)
{
    const QString op = QStringLiteral("importOpenAIPAirspaces");
    const QString stage = QStringLiteral("openaip");
    ImportSession session(m_builder, QStringLiteral("airspaces_openair"), path, op);
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
    AirspaceWriter writer(m_builder, session, path);
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

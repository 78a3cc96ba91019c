#include "nav/airspaceimporter.h"

#include "app/log/applogger.h"
#include "nav/airspaceboundary.h"
#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/navschema.h"
#include "nav/openaipreader.h"
#include "nav/openairparser.h"
#include "nav/textinput.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>
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

// The files of one kind ("OpenAir", "OpenAIP") in dir; empty, with the session failed, when the
// folder or the files are missing.
QStringList airspaceFiles(ImportSession &session, const QString &dir, const QString &kind, const QStringList &patterns)
{
    const QDir folder(dir);
    if (dir.isEmpty() || !folder.exists()) {
        session.fail(QStringLiteral("%1 airspaces directory not found: %2").arg(kind, dir));
        return {};
    }
    QStringList files;
    for (const QFileInfo &entry : folder.entryInfoList(patterns, QDir::Files, QDir::Name | QDir::IgnoreCase))
        files.append(entry.filePath());
    if (files.isEmpty())
        session.fail(
            QStringLiteral("No %1 files (%2) found in %3").arg(kind, patterns.join(QStringLiteral(", ")), dir));
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
        if (!m_insert.prepare(m_session.db(), QLatin1String(schema::insert::Airspace), 5)) {
            m_session.fail(QStringLiteral("prepare failed: %1").arg(m_insert.errorText()));
            return false;
        }
        // What the table held before this import: importing the same file again adds nothing (a
        // file that repeats an airspace keeps its repeats, as it always did).
        QSqlQuery existing(m_session.db());
        existing.setForwardOnly(true);
        if (!existing.exec(QStringLiteral("SELECT name, type, bottom_alt, top_alt, boundary FROM airspaces"))) {
            m_session.fail(QStringLiteral("cannot read airspaces: %1").arg(existing.lastError().text()));
            return false;
        }
        while (existing.next())
            m_present.insert(key(existing.value(0).toString(), existing.value(1).toString(), existing.value(2).toInt(),
                                 existing.value(3).toInt(), existing.value(4).toString()));
        return true;
    }
    bool write(const OpenAirAirspace &a)
    {
        const QString boundary = formatAirspaceBoundary(a.boundary);
        const QString k = key(a.name, a.type, a.bottomFt, a.topFt, boundary);
        if (m_present.contains(k)) {
            ++m_alreadyPresent;
            return true;
        }
        m_insert.bind(0, a.name);
        m_insert.bind(1, a.type);
        m_insert.bindInt(2, a.bottomFt);
        m_insert.bindInt(3, a.topFt);
        m_insert.bind(4, boundary);
        if (m_insert.exec())
            return true;
        m_session.fail(QStringLiteral("airspace insert failed: %1").arg(m_insert.errorText()));
        return false;
    }
    int rows() const { return m_insert.rows(); }
    // ", N already present": airspaces not written because the table held the same one.
    QString presentSuffix() const
    {
        return m_alreadyPresent > 0 ? QStringLiteral(", %1 already present").arg(m_alreadyPresent) : QString();
    }

private:
    static QString key(const QString &name, const QString &type, int bottomFt, int topFt, const QString &boundary)
    {
        return QStringLiteral("%1|%2|%3|%4|%5").arg(name, type).arg(bottomFt).arg(topFt).arg(boundary);
    }

    DatabaseBuilder &m_builder;
    ImportSession &m_session;
    QString m_path;
    CachedInsert m_insert;
    QSet<QString> m_present;
    int m_alreadyPresent = 0;
};

} // namespace

bool AirspaceImporter::importOpenAir(const QString &path, const QString &dir)
{
    const QString op = QStringLiteral("importOpenAirAirspaces");
    const QString stage = QStringLiteral("openair");
    ImportSession session(m_builder, QStringLiteral("openair_import"), path, op);
    const QStringList files =
        airspaceFiles(session, dir, QStringLiteral("OpenAir"),
                      {QStringLiteral("*.txt"), QStringLiteral("*.openair"), QStringLiteral("*.air")});
    if (files.isEmpty())
        return session.finish(QString());
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
            InputCheck check;
            for (int n = 0; n < lines.size(); ++n) {
                const int skippedBefore = parser.skippedLines();
                parser.addLine(lines.at(n));
                if (!lines.at(n).trimmed().isEmpty())
                    check.note(n + 1, parser.skippedLines() == skippedBefore, n + 1 < lines.size());
            }
            parser.finish();
            const QList<OpenAirAirspace> airspaces = parser.takeAirspaces();
            // A file is usable when it gives at least one airspace.
            check.usableRows = int(airspaces.size());
            if (!check.problem(files.at(i)).isEmpty()) {
                session.fail(QStringLiteral("%1: %2").arg(op, check.problem(files.at(i))));
                break;
            }
            for (const OpenAirAirspace &airspace : airspaces) {
                if (!writer.write(airspace))
                    break;
            }
            session.progress(stage, i + 1, files.size());
        }
    }
    const int skipped = parser.skippedLines() + parser.skippedAirspaces();
    return session.finish(QStringLiteral("importOpenAirAirspaces: imported %1 airspaces from %2 files%3%4")
                              .arg(writer.rows())
                              .arg(files.size())
                              .arg(writer.presentSuffix())
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
    const QStringList files =
        airspaceFiles(session, dir, QStringLiteral("OpenAIP"),
                      {QStringLiteral("*.aip"), QStringLiteral("*.xml"), QStringLiteral("*.json")});
    if (files.isEmpty())
        return session.finish(QString());
    AirspaceWriter writer(m_builder, session, path);
    int skipped = 0;
    QStringList faults;
    if (writer.open()) {
        for (int i = 0; i < files.size() && !session.failed() && !session.cancelled(); ++i) {
            QFile in(files.at(i));
            if (!in.open(QIODevice::ReadOnly)) {
                session.fail(QStringLiteral("%1: cannot open %2: %3").arg(op, files.at(i), in.errorString()));
                break;
            }
            QList<OpenAirAirspace> airspaces;
            const QString fault = files.at(i).endsWith(QLatin1String(".json"), Qt::CaseInsensitive)
                                      ? readOpenAipJson(in.readAll(), &airspaces, &skipped)
                                      : readOpenAipXml(in.readAll(), &airspaces, &skipped);
            // A document that parses up to a fault keeps the airspaces before it; one that gives
            // none is unusable.
            if (airspaces.isEmpty()) {
                session.fail(
                    QStringLiteral("%1: %2 has no usable airspace%3")
                        .arg(op, files.at(i), fault.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(fault)));
                break;
            }
            if (!fault.isEmpty()) {
                faults.append(QStringLiteral("%1 %2, the %3 airspaces before it kept")
                                  .arg(files.at(i), fault)
                                  .arg(airspaces.size()));
                AppLogger::instance().log(AppLogger::Warning, QStringLiteral("NavBuilder"),
                                          QStringLiteral("%1: %2").arg(op, faults.last()));
            }
            for (const OpenAirAirspace &airspace : airspaces) {
                if (!writer.write(airspace))
                    break;
            }
            session.progress(stage, i + 1, files.size());
        }
    }
    return session.finish(
        QStringLiteral("importOpenAIPAirspaces: imported %1 airspaces from %2 files%3%4%5")
            .arg(writer.rows())
            .arg(files.size())
            .arg(writer.presentSuffix())
            .arg(skipped > 0 ? QStringLiteral(" (%1 unusable airspaces skipped)").arg(skipped) : QString())
            .arg(faults.isEmpty() ? QString()
                                  : QStringLiteral("; damaged: %1").arg(faults.join(QStringLiteral("; ")))));
}

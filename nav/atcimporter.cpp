#include "nav/atcimporter.h"

#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/navschema.h"
#include "nav/textinput.h"

#include <QDir>
#include <QFileInfo>

// Navigraph ATC frequency files into frequencies. The rows follow the ASCII form of Navigraph's
// airport communication table, one per line with '|' between the columns:
//   area|region|airport|type|frequency|units|service|callsign|lat|lon
// A shorter form "airport,type,frequency,name" (',' or '|') is read as well.

using namespace navimport;

namespace {

struct AtcRow
{
    QString airport;
    QString type;
    double mhz = 0.0;
    QString name;
};

// ARINC communication types (and the usual spellings of the same services) to the types the
// station shows; everything else is "OTHER".
QString atcType(QByteArrayView code)
{
    const QByteArray c = code.toByteArray().toUpper();
    if (c == "ATI" || c == "ATIS" || c == "AWO" || c == "ASO")
        return QStringLiteral("ATIS");
    if (c == "CLD" || c == "DEL" || c == "CLR")
        return QStringLiteral("CLD");
    if (c == "GND")
        return QStringLiteral("GND");
    if (c == "TWR")
        return QStringLiteral("TWR");
    if (c == "APP" || c == "ARR")
        return QStringLiteral("APP");
    if (c == "DEP")
        return QStringLiteral("DEP");
    if (c == "CTF" || c == "CTAF" || c == "UNI" || c == "MUL")
        return QStringLiteral("CTAF");
    if (c == "TFC")
        return QStringLiteral("TFC");
    if (c == "FSS")
        return QStringLiteral("FSS");
    if (c == "GMP")
        return QStringLiteral("GMP");
    if (c == "RMP")
        return QStringLiteral("RMP");
    return QStringLiteral("OTHER");
}

bool parseAtc(QByteArrayView line, AtcRow *row)
{
    QByteArrayView f[11];
    const char separator = line.contains('|') ? '|' : ',';
    const int count = splitAt(line, separator, f, 10);
    QByteArrayView airport;
    QByteArrayView type;
    QByteArrayView frequency;
    QByteArrayView name;
    if (count >= 8 && count <= 10) {
        airport = f[2];
        type = f[3];
        frequency = f[4];
        name = f[7];
    } else if (count == 4) {
        airport = f[0];
        type = f[1];
        frequency = f[2];
        name = f[3];
    } else {
        return false;
    }
    if (airport.isEmpty() || type.isEmpty() || !toDouble(frequency, &row->mhz) || row->mhz <= 0.0)
        return false;
    // Some exports give kHz.
    if (row->mhz > 1000.0)
        row->mhz /= 1000.0;
    row->airport = latin1(airport);
    row->type = atcType(type);
    row->name = utf8(name);
    return true;
}

} // namespace

bool AtcImporter::import(const QString &path, const QString &dir)
{
    const QString op = QStringLiteral("importNavigraphAtc");
    const QString stage = QStringLiteral("atc");
    ImportSession session(m_builder, QStringLiteral("atc_navigraph"), path, op);
    const QDir folder(dir);
    if (dir.isEmpty() || !folder.exists()) {
        session.fail(QStringLiteral("Navigraph ATC data directory not found: %1").arg(dir));
        return session.finish(QString());
    }
    QStringList files;
    if (QFileInfo(folder.filePath(QStringLiteral("atc.dat"))).isFile()) {
        files.append(folder.filePath(QStringLiteral("atc.dat")));
    } else {
        for (const QFileInfo &entry : folder.entryInfoList({QStringLiteral("*.dat")}, QDir::Files, QDir::Name))
            files.append(entry.filePath());
    }
    if (files.isEmpty()) {
        session.fail(QStringLiteral("No atc.dat or .dat found in %1").arg(dir));
        return session.finish(QString());
    }
    m_builder.createSchema(path);
    CachedInsert insert;
    if (session.open() && createTables(session, {&schema::Frequencies}) && session.begin() &&
        !insert.prepare(session.db(), QLatin1String(schema::insert::Frequency), 4))
        session.fail(QStringLiteral("%1: prepare failed: %2").arg(op, insert.errorText()));
    int skipped = 0;
    for (int i = 0; i < files.size() && !session.failed(); ++i) {
        LineReader reader;
        if (!reader.open(files.at(i))) {
            session.fail(QStringLiteral("Cannot open ATC data: %1 %2").arg(files.at(i), reader.errorText()));
            break;
        }
        QByteArrayView line;
        bool overlong = false;
        AtcRow row;
        InputCheck check;
        while (reader.next(&line, &overlong)) {
            const QByteArrayView text = trimmed(line);
            if (!overlong && (text.isEmpty() || text.startsWith('#') || text.startsWith(';')))
                continue;
            const bool usable = !overlong && parseAtc(text, &row);
            check.note(reader.lineNumber(), usable, reader.lineComplete());
            if (!usable) {
                ++skipped;
                continue;
            }
            insert.bind(0, row.airport);
            insert.bind(1, row.type);
            insert.bind(2, row.mhz);
            insert.bind(3, row.name);
            if (!insert.exec()) {
                session.fail(QStringLiteral("%1: insert failed: %2").arg(op, insert.errorText()));
                break;
            }
        }
        if (!session.failed() && !check.problem(files.at(i)).isEmpty())
            session.fail(QStringLiteral("%1: %2").arg(op, check.problem(files.at(i))));
        if (session.cancelled())
            break;
        session.progress(stage, i + 1, files.size());
    }
    return session.finish(
        QStringLiteral("importNavigraphAtc: imported %1 frequencies from %2 files%3")
            .arg(insert.rows())
            .arg(files.size())
            .arg(skipped > 0 ? QStringLiteral(" (%1 malformed lines skipped)").arg(skipped) : QString()));
}

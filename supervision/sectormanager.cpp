#include "supervision/sectormanager.h"

#include "app/log/applogger.h"
#include "supervision/boundaryreaders.h"
#include "supervision/eseparser.h"
#include "supervision/sctparser.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

namespace {

// Sector files are a few megabytes; anything far larger is not one.
constexpr qint64 kMaxFileBytes = 64 * 1024 * 1024;

std::optional<QByteArray> readBytes(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return std::nullopt;
    }
    if (file.size() > kMaxFileBytes) {
        *error = QStringLiteral("file larger than %1 MB").arg(kMaxFileBytes / (1024 * 1024));
        return std::nullopt;
    }
    return file.readAll();
}

// The file beside path with the same base name and the other extension, whatever its case.
QString companion(const QString &path, const QString &suffix)
{
    const QFileInfo info(path);
    const QStringList found =
        info.dir().entryList({info.completeBaseName() + QLatin1Char('.') + suffix}, QDir::Files, QDir::Name);
    for (const QString &name : found) {
        if (name.compare(info.completeBaseName() + QLatin1Char('.') + suffix, Qt::CaseInsensitive) == 0)
            return info.dir().filePath(name);
    }
    return {};
}

void mergeEse(SectorFile &into, const SectorFile &ese, const QString &eseName)
{
    into.labels += ese.labels;
    into.areas += ese.areas;
    into.positions += ese.positions;
    into.procedureCount += ese.procedureCount;
    into.report.merge(ese.report, eseName);
}

QString logText(const SectorFile &file)
{
    return QStringLiteral("Sector file %1 loaded: %2 lines, %3 skipped, %4 lines drawn, %5 areas")
        .arg(file.name)
        .arg(file.report.lineCount)
        .arg(file.report.skippedCount)
        .arg(file.lines.size())
        .arg(file.areas.size());
}

} // namespace

SectorManager::SectorManager(QObject *parent) : QObject(parent)
{
    qRegisterMetaType<SectorFile>();
}

SectorManager::~SectorManager() = default;

SectorFile SectorManager::readFile(const QString &path)
{
    const QFileInfo info(path);
    const QString suffix = info.suffix().toLower();
    QString error;
    SectorFile file;
    const auto bytes = readBytes(path, &error);
    if (!bytes) {
        file.path = path;
        file.error = error;
    } else if (suffix == QLatin1String("sct") || suffix == QLatin1String("sct2")) {
        file = SctParser::parse(*bytes, path);
        // Files fed to EuroScope together: the .ese beside it adds sectors and positions.
        const QString esePath = companion(path, QStringLiteral("ese"));
        QString eseError;
        if (const auto eseBytes = esePath.isEmpty() ? std::nullopt : readBytes(esePath, &eseError)) {
            mergeEse(file, EseParser::parse(*eseBytes, esePath, EseParser::fixIndex(file)),
                     QFileInfo(esePath).fileName());
            file.finish();
        }
    } else if (suffix == QLatin1String("ese")) {
        QHash<QString, QPointF> fixes;
        const QString sctPath = companion(path, QStringLiteral("sct"));
        QString sctError;
        if (const auto sctBytes = sctPath.isEmpty() ? std::nullopt : readBytes(sctPath, &sctError))
            fixes = EseParser::fixIndex(SctParser::parse(*sctBytes, sctPath));
        file = EseParser::parse(*bytes, path, fixes);
    } else if (suffix == QLatin1String("geojson") || suffix == QLatin1String("json")) {
        file = BoundaryReaders::readGeoJson(*bytes, path);
    } else if (suffix == QLatin1String("txt") || suffix == QLatin1String("openair")) {
        file = BoundaryReaders::readOpenAir(*bytes, path);
    } else if (suffix == QLatin1String("dat")) {
        file = BoundaryReaders::readVatSpy(*bytes, path);
    } else {
        file.path = path;
        file.error = QStringLiteral("unknown kind of sector file (.%1)").arg(suffix);
    }
    file.name = info.fileName();
    return file;
}

int SectorManager::loadFile(const QString &path)
{
    const int id = m_nextId++;
    m_loading.insert(id, path);
    auto *watcher = new QFutureWatcher<SectorFile>(this);
    connect(watcher, &QFutureWatcher<SectorFile>::finished, this, [this, watcher, id, path] {
        watcher->deleteLater();
        onLoaded(id, path, watcher->result());
    });
    watcher->setFuture(QtConcurrent::run(&SectorManager::readFile, path));
    return id;
}

void SectorManager::onLoaded(int id, const QString &path, const SectorFile &file)
{
    if (!m_loading.remove(id))
        return; // removed while it was being read
    if (!file.error.isEmpty()) {
        AppLogger::instance().log(AppLogger::Warning, QStringLiteral("Supervision"),
                                  QStringLiteral("Sector file %1 not loaded: %2").arg(path, file.error));
        emit loadFailed(path, file.error);
        return;
    }
    m_entries.insert(id, Entry{id, file, true});
    AppLogger::instance().log(AppLogger::Info, QStringLiteral("Supervision"), logText(file));
    emit fileLoaded(id);
    emit filesChanged();
}

void SectorManager::removeFile(int id)
{
    if (m_loading.remove(id) || m_entries.remove(id))
        emit filesChanged();
}

void SectorManager::setVisible(int id, bool visible)
{
    auto it = m_entries.find(id);
    if (it == m_entries.end() || it->visible == visible)
        return;
    it->visible = visible;
    emit filesChanged();
}

bool SectorManager::isVisible(int id) const
{
    return m_entries.value(id).visible;
}

const SectorManager::Entry *SectorManager::entry(int id) const
{
    const auto it = m_entries.constFind(id);
    return it == m_entries.constEnd() ? nullptr : &it.value();
}

QStringList SectorManager::filePaths() const
{
    QStringList paths;
    for (const Entry &entry : m_entries)
        paths.append(entry.file.path);
    for (const QString &path : m_loading)
        paths.append(path);
    return paths;
}

std::optional<SectorManager::Hit> SectorManager::sectorAt(double lat, double lon, double altitudeFt) const
{
    std::optional<Hit> best;
    double bestArea = 0.0;
    for (const Entry &entry : m_entries) {
        if (!entry.visible)
            continue;
        const QList<SectorArea> &areas = entry.file.areas;
        for (qsizetype i = 0; i < areas.size(); ++i) {
            const SectorArea &area = areas.at(i);
            if (altitudeFt < area.floorFt || altitudeFt > area.ceilingFt || (best && area.areaSqDeg >= bestArea) ||
                !area.contains(lat, lon))
                continue;
            best = Hit{entry.id, int(i), area.name, area.kind, area.floorFt, area.ceilingFt};
            bestArea = area.areaSqDeg;
        }
    }
    return best;
}

std::optional<QPointF> SectorManager::controllerPosition(const QString &callsign) const
{
    static const QStringList airportSuffixes = {QStringLiteral("DEL"), QStringLiteral("GND"), QStringLiteral("TWR"),
                                                QStringLiteral("APP"), QStringLiteral("DEP"), QStringLiteral("ATIS")};
    const QString upper = callsign.toUpper();
    const qsizetype cut = upper.lastIndexOf(QLatin1Char('_'));
    if (cut <= 0)
        return std::nullopt;
    const QString base = upper.left(cut); // "TOR_MI" of "TOR_MI_CTR"
    const QString suffix = upper.mid(cut + 1);
    const QString prefix = base.section(QLatin1Char('_'), 0, 0);
    const QString middle = base.section(QLatin1Char('_'), 1);
    const bool centre = suffix == QLatin1String("CTR") || suffix == QLatin1String("FSS");
    // The closest match wins: the whole callsign base ("NY_W" of "NY_W_CTR"), then the prefix with
    // the same middle part, then the prefix alone.
    std::optional<QPointF> best;
    int bestScore = 0;
    for (const Entry &entry : m_entries) {
        for (const SectorPosition &position : entry.file.positions) {
            const QString positionPrefix = position.prefix.toUpper();
            const QString positionMiddle =
                position.middle == QLatin1String("-") ? QString() : position.middle.toUpper();
            int score = 0;
            if (position.suffix.isEmpty()) {
                // An airport of the network's own list: any of its station kinds.
                score = airportSuffixes.contains(suffix) && positionPrefix == prefix ? 1 : 0;
            } else if (position.suffix.compare(suffix, Qt::CaseInsensitive) == 0 ||
                       (centre && position.suffix == QLatin1String("CTR"))) {
                if (positionPrefix == base)
                    score = 3;
                else if (positionPrefix == prefix && !middle.isEmpty() && positionMiddle == middle)
                    score = 3;
                else if (positionPrefix == prefix && (middle.isEmpty() || positionMiddle.isEmpty()))
                    score = 2;
            }
            if (score <= bestScore)
                continue;
            std::optional<QPointF> at;
            if (!position.visibilityCentres.isEmpty())
                at = position.visibilityCentres.first();
            else
                at = areaCentre(position.area);
            if (at) {
                best = at;
                bestScore = score;
            }
        }
    }
    if (best)
        return best;
    const bool approach = suffix == QLatin1String("APP") || suffix == QLatin1String("DEP");
    for (const Entry &entry : m_entries) {
        for (const SectorArea &area : entry.file.areas) {
            const bool owns = area.owners.contains(prefix, Qt::CaseInsensitive);
            if ((approach && area.kind == QLatin1String("TRACON") && owns) ||
                (centre && area.kind == QLatin1String("FIR") && owns))
                return area.bounds.center();
        }
    }
    return std::nullopt;
}

std::optional<QPointF> SectorManager::areaCentre(const QString &name) const
{
    if (name.isEmpty())
        return std::nullopt;
    for (const Entry &entry : m_entries) {
        for (const SectorArea &area : entry.file.areas) {
            if (area.name.compare(name, Qt::CaseInsensitive) == 0)
                return area.bounds.center();
        }
    }
    return std::nullopt;
}

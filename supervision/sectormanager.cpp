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
    const QStringList parts = callsign.toUpper().split(QLatin1Char('_'), Qt::SkipEmptyParts);
    if (parts.size() < 2)
        return std::nullopt;
    const QString prefix = parts.first();
    const QString suffix = parts.last();
    const QString middle = parts.mid(1, parts.size() - 2).join(QLatin1Char('_'));
    for (const Entry &entry : m_entries) {
        for (const SectorPosition &position : entry.file.positions) {
            if (position.prefix.compare(prefix, Qt::CaseInsensitive) != 0 ||
                position.suffix.compare(suffix, Qt::CaseInsensitive) != 0 ||
                (!middle.isEmpty() && position.middle != QLatin1String("-") &&
                 position.middle.compare(middle, Qt::CaseInsensitive) != 0) ||
                position.visibilityCentres.isEmpty())
                continue;
            return position.visibilityCentres.first();
        }
    }
    const bool approach = suffix == QLatin1String("APP") || suffix == QLatin1String("DEP");
    const bool centre = suffix == QLatin1String("CTR") || suffix == QLatin1String("FSS");
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

#include "nav/xplanedatafolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QTextStream>

namespace {

const QString kAptRelative = QStringLiteral("Earth nav data/apt.dat");

QString existingFile(const QString &path)
{
    return QFileInfo(path).isFile() ? QFileInfo(path).absoluteFilePath() : QString();
}

// Pack folder names compare without case and trailing separators, as X-Plane's ini writes them.
QString packKey(const QString &folder)
{
    QString key = QDir::fromNativeSeparators(folder).trimmed();
    while (key.endsWith(QLatin1Char('/')))
        key.chop(1);
    return key.toLower();
}

} // namespace

XPlaneDataFolder::XPlaneDataFolder(const QString &root) : m_root(QDir(root).absolutePath()) {}

bool XPlaneDataFolder::exists() const
{
    return !m_root.isEmpty() && QFileInfo(m_root).isDir();
}

QString XPlaneDataFolder::dataFile(const QString &name) const
{
    const QDir root(m_root);
    const QString custom = existingFile(root.filePath(QStringLiteral("Custom Data/") + name));
    return custom.isEmpty() ? existingFile(root.filePath(QStringLiteral("Resources/default data/") + name)) : custom;
}

QString XPlaneDataFolder::expectedDataPath(const QString &name) const
{
    return QDir(m_root).filePath(QStringLiteral("Resources/default data/") + name);
}

QString XPlaneDataFolder::cycleInfoDir() const
{
    const QDir root(m_root);
    const QString custom = root.filePath(QStringLiteral("Custom Data"));
    if (QFileInfo(QDir(custom).filePath(QStringLiteral("cycle_info.txt"))).isFile())
        return custom;
    return root.filePath(QStringLiteral("Resources/default data"));
}

QString XPlaneDataFolder::cifpDir() const
{
    const QDir root(m_root);
    const QString custom = root.filePath(QStringLiteral("Custom Data/CIFP"));
    if (QFileInfo(custom).isDir())
        return custom;
    return root.filePath(QStringLiteral("Resources/default data/CIFP"));
}

QStringList XPlaneDataFolder::customPacksInOrder(int *globalAirportsPosition) const
{
    // "SCENERY_PACK Custom Scenery/Name/" lines list the packs, highest priority first;
    // "SCENERY_PACK_DISABLED" lines switch one off; X-Plane 12 marks the global airports'
    // place with "SCENERY_PACK *GLOBAL_AIRPORTS*".
    const QDir customDir(QDir(m_root).filePath(QStringLiteral("Custom Scenery")));
    *globalAirportsPosition = -1;
    QStringList listed;
    QSet<QString> mentioned;
    QFile ini(customDir.filePath(QStringLiteral("scenery_packs.ini")));
    if (ini.open(QIODevice::ReadOnly | QIODevice::Text)) {
        QTextStream in(&ini);
        while (!in.atEnd()) {
            const QString line = in.readLine().trimmed();
            const bool disabled = line.startsWith(QLatin1String("SCENERY_PACK_DISABLED "));
            if (!disabled && !line.startsWith(QLatin1String("SCENERY_PACK ")))
                continue;
            const QString target = line.section(QLatin1Char(' '), 1).trimmed();
            if (target == QLatin1String("*GLOBAL_AIRPORTS*")) {
                if (!disabled)
                    *globalAirportsPosition = int(listed.size());
                continue;
            }
            const QString absolute = QDir(m_root).absoluteFilePath(QDir::fromNativeSeparators(target));
            mentioned.insert(packKey(absolute));
            if (!disabled)
                listed.append(absolute);
        }
    }
    QStringList unlisted;
    const QFileInfoList folders = customDir.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo &folder : folders) {
        if (!mentioned.contains(packKey(folder.absoluteFilePath())))
            unlisted.append(folder.absoluteFilePath());
    }
    if (*globalAirportsPosition >= 0)
        *globalAirportsPosition += int(unlisted.size());
    return unlisted + listed;
}

QStringList XPlaneDataFolder::aptFiles() const
{
    int globalPosition = -1;
    const QStringList packs = customPacksInOrder(&globalPosition);
    const QString global =
        existingFile(QDir(m_root).filePath(QStringLiteral("Global Scenery/Global Airports/") + kAptRelative));
    QStringList files;
    for (int i = 0; i < packs.size(); ++i) {
        if (i == globalPosition && !global.isEmpty())
            files.append(global);
        const QString apt = existingFile(QDir(packs.at(i)).filePath(kAptRelative));
        if (!apt.isEmpty())
            files.append(apt);
    }
    if (!global.isEmpty() && !files.contains(global))
        files.append(global);
    const QString legacy = existingFile(
        QDir(m_root).filePath(QStringLiteral("Resources/default scenery/default apt dat/") + kAptRelative));
    if (!legacy.isEmpty())
        files.append(legacy);
    files.removeDuplicates();
    return files;
}

#include "nav/scenerylocator.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <algorithm>

// Where Prepar3D, FSX and MSFS 2020 keep their scenery. Windows file names are case-insensitive
// and the files name folders in any case, so every child is looked up without regard to case;
// that keeps a copied tree on Linux readable.

namespace {

// The child of dir whose name matches name (any case); empty when there is none.
QString childPath(const QString &dir, const QString &name)
{
    const QString direct = QDir(dir).filePath(name);
    if (QFileInfo::exists(direct))
        return direct;
    const QStringList entries = QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    for (const QString &entry : entries) {
        if (entry.compare(name, Qt::CaseInsensitive) == 0)
            return QDir(dir).filePath(entry);
    }
    return QString();
}

// A relative path with Windows separators resolved below base, part by part, any case.
QString resolvePath(const QString &base, const QString &relative)
{
    const QString cleaned = QDir::fromNativeSeparators(relative.trimmed()).replace(QLatin1Char('\\'), QLatin1Char('/'));
    if (QDir::isAbsolutePath(cleaned) || QRegularExpression(QStringLiteral("^[A-Za-z]:/")).match(cleaned).hasMatch())
        return cleaned;
    QString current = base;
    for (const QString &part : cleaned.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (part == QLatin1String("."))
            continue;
        const QString next = part == QLatin1String("..") ? QDir(current).filePath(part) : childPath(current, part);
        if (next.isEmpty())
            return QDir(current).filePath(part); // keeps the path for the log, it does not exist
        current = QDir::cleanPath(next);
    }
    return current;
}

// The folder holding an area's BGLs: its "scenery" subfolder when present, else the area itself.
QString bglFolderOf(const QString &area)
{
    const QString scenery = childPath(area, QStringLiteral("scenery"));
    return !scenery.isEmpty() && QFileInfo(scenery).isDir() ? scenery : area;
}

struct Area
{
    int layer = 0;
    int order = 0;
    QString folder;
};

// scenery.cfg is an INI file whose "[Area.nnn]" sections carry Title, Local, Layer and Active.
// QSettings would mangle its keys (it folds case and treats '\' specially), so it is read here.
QList<Area> readSceneryCfg(const QString &simDir, const QString &cfgPath)
{
    QList<Area> areas;
    QFile file(cfgPath);
    if (!file.open(QIODevice::ReadOnly))
        return areas;
    // The file is UTF-16 in Prepar3D v4+ and ANSI in FSX.
    const QByteArray bytes = file.readAll();
    QString text;
    if (bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF"))
        text = QString::fromUtf16(reinterpret_cast<const char16_t *>(bytes.constData() + 2), (bytes.size() - 2) / 2);
    else
        text = QString::fromUtf8(bytes);
    Area current;
    bool inArea = false;
    bool active = true;
    const auto flush = [&] {
        if (inArea && active && !current.folder.isEmpty()) {
            current.order = int(areas.size());
            areas.append(current);
        }
    };
    for (QString line : text.split(QRegularExpression(QStringLiteral("\r?\n")))) {
        line = line.trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            flush();
            inArea = line.startsWith(QLatin1String("[Area."), Qt::CaseInsensitive);
            current = Area();
            active = true;
            continue;
        }
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (!inArea || eq < 0)
            continue;
        const QString key = line.left(eq).trimmed().toLower();
        const QString value = line.mid(eq + 1).trimmed();
        if (key == QLatin1String("local"))
            current.folder = bglFolderOf(resolvePath(simDir, value));
        else if (key == QLatin1String("layer"))
            current.layer = value.toInt();
        else if (key == QLatin1String("active"))
            active = value.compare(QLatin1String("FALSE"), Qt::CaseInsensitive) != 0;
    }
    flush();
    return areas;
}

// The "Scenery" components of one add-on.xml; a component without a layer gets fallbackLayer.
QList<Area> readAddOnXml(const QString &xmlPath, int fallbackLayer)
{
    QList<Area> areas;
    QFile file(xmlPath);
    if (!file.open(QIODevice::ReadOnly))
        return areas;
    QXmlStreamReader xml(&file);
    Area current;
    QString category;
    bool inComponent = false;
    while (!xml.atEnd()) {
        xml.readNext();
        const QString name = xml.name().toString();
        if (xml.isStartElement()) {
            if (name == QLatin1String("AddOn.Component")) {
                inComponent = true;
                current = Area();
                current.layer = fallbackLayer;
                category.clear();
            } else if (inComponent && name == QLatin1String("Category")) {
                category = xml.readElementText().trimmed();
            } else if (inComponent && name == QLatin1String("Path")) {
                current.folder = resolvePath(QFileInfo(xmlPath).absolutePath(), xml.readElementText());
            } else if (inComponent && name == QLatin1String("Layer")) {
                bool ok = false;
                const int layer = xml.readElementText().trimmed().toInt(&ok);
                if (ok)
                    current.layer = layer;
            }
        } else if (xml.isEndElement() && name == QLatin1String("AddOn.Component")) {
            inComponent = false;
            if (category.compare(QLatin1String("Scenery"), Qt::CaseInsensitive) == 0 && !current.folder.isEmpty()) {
                current.folder = bglFolderOf(current.folder);
                areas.append(current);
            }
        }
    }
    return areas;
}

bool isBgl(const QString &name)
{
    return name.endsWith(QLatin1String(".bgl"), Qt::CaseInsensitive);
}

} // namespace

QStringList SceneryLocator::p3dSceneryPaths(const QString &simDir, const QStringList &addOnRoots)
{
    const QString cfg = childPath(simDir, QStringLiteral("scenery.cfg"));
    QList<Area> areas = cfg.isEmpty() ? QList<Area>() : readSceneryCfg(simDir, cfg);
    int maxLayer = 0;
    for (const Area &a : areas)
        maxLayer = qMax(maxLayer, a.layer);

    QStringList roots = addOnRoots;
    if (roots.isEmpty()) {
        const QString defaultRoot = childPath(simDir, QStringLiteral("Add-ons"));
        if (!defaultRoot.isEmpty())
            roots.append(defaultRoot);
    }
    // Add-on packages without a layer of their own sit above the scenery library.
    QList<Area> addOns;
    for (const QString &root : roots) {
        const QStringList packages = QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString &package : packages) {
            const QString xml = childPath(QDir(root).filePath(package), QStringLiteral("add-on.xml"));
            if (!xml.isEmpty())
                addOns.append(readAddOnXml(xml, maxLayer + 1));
        }
    }
    for (Area &a : addOns) {
        a.order = int(areas.size());
        areas.append(a);
    }
    std::stable_sort(areas.begin(), areas.end(), [](const Area &a, const Area &b) {
        return a.layer != b.layer ? a.layer < b.layer : a.order < b.order;
    });
    QStringList folders;
    for (const Area &a : areas) {
        if (QFileInfo(a.folder).isDir() && !folders.contains(a.folder))
            folders.append(a.folder);
    }
    return folders;
}

QString SceneryLocator::msfsPackagesPath(const QString &location)
{
    const QFileInfo info(location);
    if (info.isDir()) {
        if (!childPath(location, QStringLiteral("Official")).isEmpty() ||
            !childPath(location, QStringLiteral("Community")).isEmpty())
            return location;
        const QString cfg = childPath(location, QStringLiteral("UserCfg.opt"));
        return cfg.isEmpty() ? QString() : msfsPackagesPath(cfg);
    }
    QFile file(location);
    if (location.isEmpty() || !file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QString();
    // InstalledPackagesPath "D:\MSFS\Packages"
    static const QRegularExpression line(QStringLiteral("^\\s*InstalledPackagesPath\\s+\"?([^\"]*)\"?\\s*$"));
    while (!file.atEnd()) {
        const QRegularExpressionMatch m = line.match(QString::fromUtf8(file.readLine()).trimmed());
        if (m.hasMatch())
            return QDir::fromNativeSeparators(m.captured(1).trimmed());
    }
    return QString();
}

QStringList SceneryLocator::msfsPackagePaths(const QString &packagesPath)
{
    QStringList base;
    QStringList official;
    const QString officialDir = childPath(packagesPath, QStringLiteral("Official"));
    if (!officialDir.isEmpty()) {
        // Official\OneStore\<package> (Microsoft Store) or Official\Steam\<package>.
        for (const QString &store : QDir(officialDir).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
            const QDir storeDir(QDir(officialDir).filePath(store));
            for (const QString &package : storeDir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
                // The base library loads first; every other package may override it.
                (package.startsWith(QLatin1String("fs-base"), Qt::CaseInsensitive) ? base : official)
                    .append(storeDir.filePath(package));
            }
        }
    }
    QStringList community;
    const QString communityDir = childPath(packagesPath, QStringLiteral("Community"));
    if (!communityDir.isEmpty()) {
        const QDir dir(communityDir);
        for (const QString &package : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name))
            community.append(dir.filePath(package));
    }
    return base + official + community;
}

bool SceneryLocator::isNavigraphPackage(const QString &dir)
{
    const QFileInfo info(dir);
    if (!info.isDir())
        return false;
    if (info.fileName().startsWith(QLatin1String("navigraph-navdata"), Qt::CaseInsensitive))
        return true;
    const QString manifestPath = childPath(dir, QStringLiteral("manifest.json"));
    QFile manifest(manifestPath);
    if (manifestPath.isEmpty() || !manifest.open(QIODevice::ReadOnly))
        return false;
    const QJsonObject object = QJsonDocument::fromJson(manifest.readAll()).object();
    return object.value(QLatin1String("creator")).toString().contains(QLatin1String("Navigraph"), Qt::CaseInsensitive);
}

QStringList SceneryLocator::bglFiles(const QString &folder)
{
    QStringList files;
    const QString layoutPath = childPath(folder, QStringLiteral("layout.json"));
    QFile layout(layoutPath);
    if (!layoutPath.isEmpty() && layout.open(QIODevice::ReadOnly)) {
        const QJsonArray content =
            QJsonDocument::fromJson(layout.readAll()).object().value(QLatin1String("content")).toArray();
        for (const QJsonValue &entry : content) {
            const QString relative = entry.toObject().value(QLatin1String("path")).toString();
            if (!isBgl(relative))
                continue;
            const QString file = resolvePath(folder, relative);
            if (QFileInfo(file).isFile())
                files.append(file);
        }
    } else {
        QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString file = it.next();
            if (isBgl(file))
                files.append(file);
        }
    }
    std::sort(files.begin(), files.end());
    files.removeDuplicates();
    return files;
}

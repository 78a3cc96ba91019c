#include "licensing/updatepackage.h"

#include <QDataStream>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

constexpr char kMagic[] = "ZOBRELPKG1\n";
constexpr int kMagicSize = sizeof(kMagic) - 1;
constexpr quint8 kExecutable = 1;
// zlib never compresses better than about 1:1032; a header that claims more is a lie.
constexpr qint64 kMaxRatio = 1032;

QFileDevice::Permissions executablePermissions()
{
    return QFileDevice::ExeOwner | QFileDevice::ExeGroup | QFileDevice::ExeOther;
}

} // namespace

namespace UpdatePackage {

bool isSafeRelativePath(const QString &path)
{
    if (path.isEmpty() || path.size() > kMaxPathLength || path.startsWith(QLatin1Char('/')) ||
        path.contains(QLatin1Char('\\')) || path.contains(QLatin1Char(':')) || path.contains(QChar(0)))
        return false;
    const QStringList parts = path.split(QLatin1Char('/'));
    for (const QString &part : parts) {
        if (part.isEmpty() || part == QLatin1String(".") || part == QLatin1String(".."))
            return false;
    }
    return true;
}

bool write(const QString &folder, const QString &packagePath, QString *error)
{
    const QDir root(folder);
    QStringList paths;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::NoSymLinks, QDirIterator::Subdirectories);
    while (it.hasNext())
        paths << root.relativeFilePath(it.next());
    paths.sort();
    if (paths.isEmpty() || quint32(paths.size()) > kMaxEntries) {
        *error = QStringLiteral("%1 holds %2 files").arg(folder).arg(paths.size());
        return false;
    }
    QSaveFile out(packagePath);
    if (!out.open(QIODevice::WriteOnly)) {
        *error = out.errorString();
        return false;
    }
    QDataStream stream(&out);
    stream.writeRawData(kMagic, kMagicSize);
    stream << quint32(paths.size());
    for (const QString &path : std::as_const(paths)) {
        QFile file(root.filePath(path));
        if (!isSafeRelativePath(path) || file.size() > kMaxFileSize || !file.open(QIODevice::ReadOnly)) {
            *error = QStringLiteral("cannot pack %1").arg(path);
            return false;
        }
        const QByteArray utf8 = path.toUtf8();
        const QByteArray data = qCompress(file.readAll(), 9);
        stream << quint16(utf8.size());
        stream.writeRawData(utf8.constData(), int(utf8.size()));
        stream << quint8((file.permissions() & QFileDevice::ExeOwner) ? kExecutable : 0) << quint64(data.size());
        stream.writeRawData(data.constData(), int(data.size()));
    }
    if (stream.status() != QDataStream::Ok || !out.commit()) {
        *error = out.errorString();
        return false;
    }
    return true;
}

bool extract(const QString &packagePath, const QString &folder, QStringList *files, QString *error,
             const std::atomic_bool *cancel)
{
    QFile in(packagePath);
    if (!in.open(QIODevice::ReadOnly)) {
        *error = in.errorString();
        return false;
    }
    if (in.read(kMagicSize) != QByteArray(kMagic, kMagicSize)) {
        *error = QStringLiteral("not an update package");
        return false;
    }
    QDataStream stream(&in);
    quint32 count = 0;
    stream >> count;
    if (stream.status() != QDataStream::Ok || count == 0 || count > kMaxEntries) {
        *error = QStringLiteral("bad entry count %1").arg(count);
        return false;
    }
    const QDir root(folder);
    root.mkpath(QStringLiteral("."));
    files->clear();
    for (quint32 i = 0; i < count; ++i) {
        if (cancel && cancel->load()) {
            *error = QStringLiteral("cancelled");
            return false;
        }
        quint16 pathLength = 0;
        stream >> pathLength;
        const QString path = QString::fromUtf8(in.read(pathLength));
        quint8 flags = 0;
        quint64 dataLength = 0;
        stream >> flags >> dataLength;
        if (stream.status() != QDataStream::Ok || !isSafeRelativePath(path) || files->contains(path)) {
            *error = QStringLiteral("entry %1: bad path \"%2\"").arg(i).arg(path);
            return false;
        }
        if (dataLength < 4 || dataLength > quint64(in.size() - in.pos())) {
            *error = QStringLiteral("%1: data runs past the end of the package").arg(path);
            return false;
        }
        const QByteArray compressed = in.read(qint64(dataLength));
        const qint64 claimed = (qint64(quint8(compressed[0])) << 24) | (qint64(quint8(compressed[1])) << 16) |
                               (qint64(quint8(compressed[2])) << 8) | qint64(quint8(compressed[3]));
        if (claimed > kMaxFileSize || claimed > qint64(dataLength) * kMaxRatio) {
            *error = QStringLiteral("%1: implausible size %2").arg(path).arg(claimed);
            return false;
        }
        const QByteArray data = qUncompress(compressed);
        if (data.size() != claimed) {
            *error = QStringLiteral("%1: data does not decompress").arg(path);
            return false;
        }
        const QString target = root.filePath(path);
        root.mkpath(QFileInfo(path).path());
        QFile out(target);
        if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate) || out.write(data) != data.size()) {
            *error = QStringLiteral("%1: %2").arg(QDir::toNativeSeparators(target), out.errorString());
            return false;
        }
        out.close();
        if (flags & kExecutable)
            out.setPermissions(out.permissions() | executablePermissions());
        files->append(path);
    }
    if (!in.atEnd()) {
        *error = QStringLiteral("data after the last entry");
        return false;
    }
    return true;
}

} // namespace UpdatePackage

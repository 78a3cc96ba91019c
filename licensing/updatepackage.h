#pragma once

#include <QString>
#include <QStringList>

#include <atomic>

// The archive a file-replacing update arrives in: the program folder's files, each compressed on
// its own. Layout (integers big-endian):
//   "ZOBRELPKG1\n"                         magic, 11 bytes
//   quint32 entry count
//   per entry: quint16 path length, the path (UTF-8, relative, '/'-separated),
//              quint8 flags (1 = executable), quint64 data length, the data (qCompress format)
// The archive's integrity comes from the signed manifest's SHA-256; reading still refuses paths
// that leave the target folder and sizes that do not add up, so a broken package cannot write
// outside the staging folder or exhaust memory.
namespace UpdatePackage {

constexpr quint32 kMaxEntries = 100000;
constexpr int kMaxPathLength = 1024;
// One file's uncompressed size; larger ones are refused.
constexpr qint64 kMaxFileSize = qint64(1) << 30;

// Packs every file below folder (recursively, without symbolic links) into packagePath.
bool write(const QString &folder, const QString &packagePath, QString *error);

// Unpacks packagePath into folder (created if missing). On success *files lists the relative
// paths written. On failure folder may hold part of the files; the caller removes it. *cancel,
// when given, is polled between files.
bool extract(const QString &packagePath, const QString &folder, QStringList *files, QString *error,
             const std::atomic_bool *cancel = nullptr);

// True when path is relative, '/'-separated and stays inside the folder it is joined to.
bool isSafeRelativePath(const QString &path);

} // namespace UpdatePackage

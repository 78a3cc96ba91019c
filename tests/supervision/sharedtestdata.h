#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTest>

// The real public files beside the repository (../shared/testdata). A test that needs one skips
// with a clear message only when that folder is absent.
namespace shareddata {

inline QString path(const QString &relative)
{
    return QDir(QStringLiteral(SHARED_TESTDATA_DIR)).filePath(relative);
}

inline QByteArray read(const QString &relative)
{
    QFile file(path(relative));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool available()
{
    return QDir(QStringLiteral(SHARED_TESTDATA_DIR)).exists(QStringLiteral("sectors"));
}

} // namespace shareddata

#define REQUIRE_SHARED_TESTDATA()                                                                                      \
    do {                                                                                                               \
        if (!shareddata::available())                                                                                  \
            QSKIP("../shared/testdata is not there; the real-file tests need it");                                     \
    } while (false)

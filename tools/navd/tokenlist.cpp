#include "tokenlist.h"

#include <QCryptographicHash>
#include <QFile>

namespace {

QByteArray digest(const QByteArray &token)
{
    return QCryptographicHash::hash(token, QCryptographicHash::Sha256);
}

} // namespace

bool TokenList::load(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read the tokens file %1: %2").arg(path, file.errorString());
        return false;
    }
    // A tokens file is a handful of lines; anything far larger is not one.
    if (file.size() > 1024 * 1024) {
        *error = QStringLiteral("the tokens file %1 is larger than 1 MB").arg(path);
        return false;
    }
    m_digests.clear();
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (QByteArray line : lines) {
        const int hash = line.indexOf('#');
        if (hash >= 0)
            line.truncate(hash);
        line = line.trimmed();
        if (!line.isEmpty())
            add(line);
    }
    if (m_digests.isEmpty()) {
        *error = QStringLiteral("the tokens file %1 holds no token").arg(path);
        return false;
    }
    return true;
}

void TokenList::add(const QByteArray &token)
{
    m_digests.append(digest(token));
}

bool TokenList::accepts(const QByteArray &presented) const
{
    const QByteArray candidate = digest(presented);
    unsigned char anyMatch = 0;
    for (const QByteArray &known : m_digests) {
        unsigned char diff = 0;
        for (int i = 0; i < known.size(); ++i)
            diff |= static_cast<unsigned char>(known.at(i) ^ candidate.at(i));
        anyMatch |= static_cast<unsigned char>(diff == 0);
    }
    return anyMatch != 0;
}

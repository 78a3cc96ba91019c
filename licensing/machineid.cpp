#include "licensing/machineid.h"

#include <QCryptographicHash>
#include <QSysInfo>

namespace {

// Crockford's base-32 alphabet: no I, L, O or U.
constexpr char kAlphabet[] = "0123456789ABCDEFGHJKMNPQRSTVWXYZ";
constexpr int kGroups = 4;
constexpr int kGroupLength = 5;

} // namespace

QString machineIdFromSystemId(const QByteArray &systemId)
{
    if (systemId.trimmed().isEmpty())
        return QString();
    const QByteArray digest =
        QCryptographicHash::hash(QByteArrayLiteral("zobrel-machine:") + systemId.trimmed(), QCryptographicHash::Sha256);
    // 20 characters of 5 bits: the first 100 bits of the digest.
    QString id;
    int bitOffset = 0;
    for (int group = 0; group < kGroups; ++group) {
        if (group > 0)
            id += QLatin1Char('-');
        for (int i = 0; i < kGroupLength; ++i, bitOffset += 5) {
            int value = 0;
            for (int bit = 0; bit < 5; ++bit) {
                const int index = bitOffset + bit;
                const bool set = (quint8(digest.at(index / 8)) >> (7 - index % 8)) & 1;
                value = (value << 1) | int(set);
            }
            id += QLatin1Char(kAlphabet[value]);
        }
    }
    return id;
}

QString currentMachineId()
{
    QByteArray systemId = QSysInfo::machineUniqueId();
    if (systemId.trimmed().isEmpty())
        systemId = QByteArrayLiteral("host:") + QSysInfo::machineHostName().toUtf8();
    return machineIdFromSystemId(systemId);
}

QString normalizedMachineId(const QString &text)
{
    QString compact;
    for (const QChar c : text) {
        if (c.isLetterOrNumber())
            compact += c.toUpper();
    }
    // Crockford decoding: the look-alikes read as the digits they resemble.
    compact.replace(QLatin1Char('O'), QLatin1Char('0'));
    compact.replace(QLatin1Char('I'), QLatin1Char('1'));
    compact.replace(QLatin1Char('L'), QLatin1Char('1'));
    if (compact.size() != kGroups * kGroupLength)
        return compact;
    QString grouped;
    for (int group = 0; group < kGroups; ++group) {
        if (group > 0)
            grouped += QLatin1Char('-');
        grouped += compact.mid(group * kGroupLength, kGroupLength);
    }
    return grouped;
}

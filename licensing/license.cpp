#include "licensing/license.h"

#include "licensing/machineid.h"
#include "licensing/signeddocument.h"

#include <QJsonArray>

namespace {

bool readDate(const QJsonObject &object, const char *key, QDate *date, QString *error)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isUndefined())
        return true;
    *date = QDate::fromString(value.toString(), Qt::ISODate);
    if (!date->isValid()) {
        *error = QStringLiteral("\"%1\" is not a YYYY-MM-DD date").arg(QLatin1String(key));
        return false;
    }
    return true;
}

} // namespace

int License::agentLimit() const
{
    const QLatin1String prefix(kFeatureAgentsPrefix);
    for (const QString &feature : features) {
        if (!feature.startsWith(prefix))
            continue;
        bool ok = false;
        const int count = feature.mid(prefix.size()).toInt(&ok);
        if (ok && count > 0)
            return count;
    }
    return -1;
}

QJsonObject License::toJson() const
{
    QJsonObject object{{QStringLiteral("type"), QLatin1String(kType)},
                       {QStringLiteral("id"), id},
                       {QStringLiteral("licensee"), licensee},
                       {QStringLiteral("features"), QJsonArray::fromStringList(features)}};
    if (!machineId.isEmpty())
        object.insert(QStringLiteral("machine"), machineId);
    if (issued.isValid())
        object.insert(QStringLiteral("issued"), issued.toString(Qt::ISODate));
    if (expires.isValid())
        object.insert(QStringLiteral("expires"), expires.toString(Qt::ISODate));
    return object;
}

bool License::fromJson(const QJsonObject &object, License *license, QString *error)
{
    License result;
    result.id = object.value(QLatin1String("id")).toString().trimmed();
    result.licensee = object.value(QLatin1String("licensee")).toString().trimmed();
    if (result.id.isEmpty() || result.licensee.isEmpty()) {
        *error = QStringLiteral("\"id\" or \"licensee\" missing");
        return false;
    }
    const QJsonValue machine = object.value(QLatin1String("machine"));
    if (!machine.isUndefined() && !machine.isString()) {
        *error = QStringLiteral("\"machine\" is not text");
        return false;
    }
    result.machineId = normalizedMachineId(machine.toString());
    const QJsonValue features = object.value(QLatin1String("features"));
    if (!features.isUndefined() && !features.isArray()) {
        *error = QStringLiteral("\"features\" is not a list");
        return false;
    }
    for (const QJsonValue &feature : features.toArray()) {
        if (!feature.isString()) {
            *error = QStringLiteral("\"features\" holds a value that is not text");
            return false;
        }
        result.features << feature.toString().trimmed();
    }
    if (!readDate(object, "issued", &result.issued, error) || !readDate(object, "expires", &result.expires, error))
        return false;
    *license = result;
    return true;
}

LicenseCheck LicenseCheck::verify(const QByteArray &fileContents, const QByteArray &publicKeyPem,
                                  const QString &machineId, const QDate &todayUtc)
{
    LicenseCheck check;
    const SignedDocument document =
        SignedDocument::open(fileContents, publicKeyPem, QString::fromLatin1(License::kType));
    check.detail = document.detail;
    switch (document.status) {
    case SignedDocument::Status::Malformed:
        check.status = Status::Malformed;
        return check;
    case SignedDocument::Status::MissingSignature:
        check.status = Status::MissingSignature;
        return check;
    case SignedDocument::Status::BadSignature:
        check.status = Status::BadSignature;
        return check;
    case SignedDocument::Status::Valid:
        break;
    }
    if (!License::fromJson(document.payload, &check.license, &check.detail)) {
        check.status = Status::Malformed;
        return check;
    }
    if (check.license.expires.isValid() && todayUtc > check.license.expires) {
        check.status = Status::Expired;
        check.detail = QStringLiteral("expired on %1").arg(check.license.expires.toString(Qt::ISODate));
    } else if (!check.license.machineId.isEmpty() && check.license.machineId != normalizedMachineId(machineId)) {
        check.status = Status::OtherMachine;
        check.detail = QStringLiteral("bound to machine %1, this is %2").arg(check.license.machineId, machineId);
    } else {
        check.status = Status::Valid;
        check.detail.clear();
    }
    return check;
}

QString LicenseCheck::message() const
{
    switch (status) {
    case Status::NoLicense:
        return tr("未安装许可证。");
    case Status::Valid:
        return tr("许可证有效。");
    case Status::Malformed:
        return tr("许可证文件无效：不是 Zobrel 许可证，或内容不完整。");
    case Status::MissingSignature:
        return tr("许可证缺少签名，无法确认其来源。");
    case Status::BadSignature:
        return tr("许可证签名无效：文件在签发后被修改，或不是由 Kovan 签发的。");
    case Status::Expired:
        return tr("许可证已于 %1 过期。").arg(license.expires.toString(Qt::ISODate));
    case Status::OtherMachine:
        return tr("此许可证绑定在另一台计算机上（许可证中的机器码：%1）。").arg(license.machineId);
    }
    return QString();
}

#pragma once

#include <QCoreApplication>
#include <QDate>
#include <QJsonObject>
#include <QString>
#include <QStringList>

// One licence as the vendor issues it: the signed payload of a licence file (see
// signeddocument.h for the envelope). Payload keys:
//   "type"      "zobrel-license" (required)
//   "id"        the licence number, also the key an agent reports (required)
//   "licensee"  whom it is issued to (required)
//   "machine"   machine id it is bound to (optional; absent = any machine)
//   "features"  list of feature words: "bridge-server", "agents:N", "licensed-agents-only"
//   "issued"    "YYYY-MM-DD" (optional)
//   "expires"   "YYYY-MM-DD", valid through that UTC day (optional; absent = perpetual)
struct License
{
    static constexpr char kType[] = "zobrel-license";
    static constexpr char kFeatureBridgeServer[] = "bridge-server";
    static constexpr char kFeatureAgentsPrefix[] = "agents:";
    static constexpr char kFeatureLicensedAgentsOnly[] = "licensed-agents-only";

    QString id;
    QString licensee;
    QString machineId; // empty: not bound
    QStringList features;
    QDate issued;
    QDate expires; // invalid: never expires

    bool hasFeature(const QString &feature) const { return features.contains(feature); }
    // N of the "agents:N" feature; -1 when it is absent or not a positive number.
    int agentLimit() const;

    QJsonObject toJson() const;
    // False, with the reason in English, when a required key is missing or a value is malformed.
    static bool fromJson(const QJsonObject &object, License *license, QString *error);
};

// The outcome of checking a licence file against the vendor key, this machine and today's date.
struct LicenseCheck
{
    Q_DECLARE_TR_FUNCTIONS(LicenseCheck)
public:
    enum class Status {
        NoLicense, // no licence file installed
        Valid,
        Malformed,        // not a licence file, or a licence with missing or broken fields
        MissingSignature, // the signature was removed
        BadSignature,     // changed after signing, or signed with another key
        Expired,
        OtherMachine, // bound to a machine other than this one
    };

    Status status = Status::NoLicense;
    License license; // filled whenever the signature was good (so also for Expired and OtherMachine)
    QString detail;  // English, for the log

    bool isValid() const { return status == Status::Valid; }
    // One sentence for the operator saying what is wrong (or that the licence is valid).
    QString message() const;

    // fileContents is the licence file; machineId this machine's id; todayUtc the current UTC date.
    static LicenseCheck verify(const QByteArray &fileContents, const QByteArray &publicKeyPem, const QString &machineId,
                               const QDate &todayUtc);
};

#pragma once

#include <QByteArray>
#include <QString>

// The identifier a licence can be bound to: derived from the operating system's installation id
// (QSysInfo::machineUniqueId: /etc/machine-id on Linux, MachineGuid on Windows) and written as
// four groups of five characters ("K3J9P-...") from an alphabet without look-alike letters, so an
// operator can read it out over the telephone. The raw id never leaves the machine: only a salted
// SHA-256 of it is shown.

// This machine's id; derived from the host name when the system has no installation id.
QString currentMachineId();

// The id for a given system installation id (empty input gives an empty id).
QString machineIdFromSystemId(const QByteArray &systemId);

// The id with case, spaces and missing or extra dashes normalised ("k3j9p x..." as typed).
QString normalizedMachineId(const QString &text);

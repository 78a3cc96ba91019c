#pragma once

#include <QCoreApplication>
#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>

#include <optional>

// One clearance the instructor gave, as recorded. The value is kept as entered; numeric kinds
// also keep their number (altitude feet, heading degrees, speed knots, frequency MHz).
struct AtcInstruction
{
    Q_DECLARE_TR_FUNCTIONS(AtcInstruction)
public:
    enum class Kind { Altitude, Heading, Speed, Frequency, FreeText };

    QDateTime timeUtc;
    QString aircraftId;    // the tracked aircraft's id ("own", an agent id, a callsign)
    QString aircraftLabel; // as shown: callsign or name
    Kind kind = Kind::FreeText;
    QString value;
    double number = 0.0;
    QString note;

    static QString kindText(Kind kind);
    // Reads the value of a kind: altitudes "12000", "FL120" or "12000ft" (0 to 60,000 ft);
    // headings 0 to 360; speeds 0 to 999 kt (or "M.78", kept as text with its number 0);
    // frequencies 118.000 to 136.990 MHz; free text up to 500 characters. nullopt with the reason
    // in error when the value is not one.
    static std::optional<AtcInstruction> make(const QString &aircraftId, const QString &aircraftLabel, Kind kind,
                                              const QString &value, const QString &note, const QDateTime &timeUtc,
                                              QString *error);
};

// The ATC instruction log of the lesson: clearances in the order given. The latest altitude
// clearance per aircraft is its assigned altitude, which the deviation alert follows; the log is
// exported as CSV (UTF-8 with a byte-order mark so spreadsheet programs read the Chinese headers;
// RFC 4180 quoting; fields that a spreadsheet would take for a formula are prefixed with ').
//
// Created by the supervision wiring with a parent; GUI thread only.
class AtcLog : public QObject
{
    Q_OBJECT
public:
    explicit AtcLog(QObject *parent = nullptr);

    void add(const AtcInstruction &instruction);
    void clear();
    const QList<AtcInstruction> &entries() const { return m_entries; }
    std::optional<double> assignedAltitude(const QString &aircraftId) const;

    QByteArray toCsv() const;
    bool exportCsv(const QString &path, QString *error) const;

signals:
    void entryAdded(int index);
    void cleared();
    void assignedAltitudeChanged(const QString &aircraftId, double altitudeFt);
    // The aircraft has no assigned altitude any more (the log was cleared).
    void assignedAltitudeRemoved(const QString &aircraftId);

private:
    QList<AtcInstruction> m_entries;
};

Q_DECLARE_METATYPE(AtcInstruction)

#pragma once

#include "sim/aircraftdata.h"
#include "sim/remoteaircraft.h"
#include "sim/simtype.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>

// The agent protocol as both ends speak it: one compact JSON object per line over TLS. This file
// holds what the instructor's server and the agent program must agree on — message types, the
// "status"/"position" keys and how a RemoteAircraft is written and read, the line framing with its
// size cap — so each rule lives in one place.
namespace agentprotocol {

// Message types (key "type").
inline constexpr char kRegister[] = "register";
inline constexpr char kHeartbeat[] = "heartbeat";
inline constexpr char kHeartbeatAck[] = "heartbeat_ack";
inline constexpr char kPosition[] = "position";
inline constexpr char kStatus[] = "status";
inline constexpr char kCommand[] = "command";
inline constexpr char kCommandResult[] = "command_result";
inline constexpr char kError[] = "error";
inline constexpr char kHandoffRequest[] = "handoff_request";
// The agent's answer to a hand-off request: transferId, accepted (bool), message.
inline constexpr char kHandoffResponse[] = "handoff_response";

// Instruction modes: "auto" carries out every command; "observe" only streams, and the agent
// refuses commands other than a mode change.
inline constexpr char kModeAuto[] = "auto";
inline constexpr char kModeObserve[] = "observe";
bool isKnownInstructionMode(const QString &mode);

// Largest line either end accepts; a longer one ends the connection.
inline constexpr qsizetype kDefaultMaxLineBytes = 1024 * 1024;

// One compact JSON line, line feed included.
QByteArray encodeLine(const QJsonObject &message);

// Collects a byte stream into lines. A line (or an unterminated tail) longer than the cap is an
// overflow: the framer then refuses further input, since the stream cannot be resynchronised.
class LineFramer
{
public:
    explicit LineFramer(qsizetype maxLineBytes = kDefaultMaxLineBytes) : m_maxLineBytes(maxLineBytes) {}

    // Appends data and moves every complete line (without its line feed, trailing CR removed)
    // into lines. False on overflow; lines found before the overflow are still delivered.
    bool append(const QByteArray &data, QList<QByteArray> &lines);
    bool overflowed() const { return m_overflow; }
    qsizetype pendingBytes() const { return m_buffer.size(); }

private:
    QByteArray m_buffer;
    qsizetype m_maxLineBytes;
    qsizetype m_scanned = 0; // bytes of m_buffer already searched for a line feed
    bool m_overflow = false;
};

// The "sim" text an agent registers with; contains the marker the dispatcher derives the
// simulator from ("X-Plane", "MSFS", "P3D", "FSX"); "none" without a simulator.
QString simText(SimType type);

// A "status" message: type, then every status key of aircraft.
QJsonObject statusMessage(const RemoteAircraft &aircraft);
// A "position" message from the position members of aircraft.
QJsonObject positionMessage(const RemoteAircraft &aircraft);
// The aircraft a "status" message describes; missing or mistyped keys keep their defaults, and
// per-engine arrays are cut to four entries.
RemoteAircraft aircraftFromStatus(const QJsonObject &message);
// Overwrites the position members of aircraft with those present in a "position" message.
void applyPosition(RemoteAircraft &aircraft, const QJsonObject &message);

// What an agent reports for one simulator sample. paused, frozenPos and failures are the agent's
// own knowledge (what it was told to do), not part of the sample; ts is set to now.
struct AgentExtras
{
    bool paused = false;
    bool frozenPos = false;
    QStringList failures;
};
RemoteAircraft aircraftFromSample(const AircraftData &data, const QString &agentId, const QString &callsign,
                                  const AgentExtras &extras = {});

} // namespace agentprotocol

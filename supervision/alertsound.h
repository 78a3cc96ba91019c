#pragma once

#include "supervision/supervisionalert.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>

#include <vector>

class QAudioSink;

// The alert sounds, made in the program (no sound files): mono signed 16-bit samples.
//  - Conflict: urgent, three pairs of alternating tones, 880 Hz and 1175 Hz, 120 ms each.
//  - Route and altitude deviation: a two-note chime, 1047 Hz then 784 Hz, 350 ms each, each
//    note struck and decaying, with a quieter octave above.
//  - Below safe altitude and terrain clearance: three low pulses, 440 Hz with its third
//    harmonic, 200 ms on and 100 ms off.
// Every tone starts and ends on a short raised-cosine ramp (no clicks); the loudest sample stays
// below 80 % of full scale. Stateless.
namespace AlertSound {

constexpr int kSampleRate = 22050;
constexpr double kPeakFraction = 0.8;

enum class Tone { Conflict, Chime, Pulses };

Tone toneFor(SupervisionAlert::Kind kind);
std::vector<qint16> synthesize(Tone tone, int sampleRate = kSampleRate);

} // namespace AlertSound

// Plays the alert sounds through Qt Multimedia's default audio output, one at a time (a new one
// replaces a sound still playing), unless muted. On a machine without an audio output the alerts
// go on without sound and the station says so once in the log.
//
// Created by the supervision wiring with a parent; GUI thread only.
class AlertSoundPlayer : public QObject
{
    Q_OBJECT
public:
    explicit AlertSoundPlayer(QObject *parent = nullptr);
    ~AlertSoundPlayer() override;

    void setMuted(bool muted);
    bool isMuted() const { return m_muted; }
    // False once it is known that no audio output exists (checked on the first play()).
    bool isAvailable() const { return m_available; }

    // Starts the tone; false when muted or when no sound can be played.
    bool play(AlertSound::Tone tone);

signals:
    void mutedChanged(bool muted);

private:
    bool ensureOutput();

    bool m_muted = false;
    bool m_checked = false;
    bool m_available = false;
    int m_sampleRate = AlertSound::kSampleRate;
    QPointer<QAudioSink> m_sink;
};

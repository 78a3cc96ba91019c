#include "supervision/alertsound.h"

#include "app/log/applogger.h"

#include <QAudioDevice>
#include <QAudioFormat>
#include <QAudioSink>
#include <QBuffer>
#include <QMediaDevices>

#include <cmath>

namespace {

constexpr double kRampSec = 0.008;

struct Partial
{
    double frequencyHz;
    double amplitude;
};

// Adds one note: partials summed, a raised-cosine ramp at both ends, optionally decaying.
void addNote(std::vector<double> &out, int sampleRate, double startSec, double lengthSec,
             std::initializer_list<Partial> partials, double decayPerSec)
{
    const auto first = size_t(std::lround(startSec * sampleRate));
    const auto count = size_t(std::lround(lengthSec * sampleRate));
    const auto ramp = std::max<size_t>(1, size_t(std::lround(kRampSec * sampleRate)));
    if (out.size() < first + count)
        out.resize(first + count, 0.0);
    for (size_t i = 0; i < count; ++i) {
        const double t = double(i) / sampleRate;
        double value = 0.0;
        for (const Partial &p : partials)
            value += p.amplitude * std::sin(2.0 * M_PI * p.frequencyHz * t);
        double envelope = std::exp(-decayPerSec * t);
        if (i < ramp)
            envelope *= 0.5 - 0.5 * std::cos(M_PI * double(i) / ramp);
        if (count - 1 - i < ramp)
            envelope *= 0.5 - 0.5 * std::cos(M_PI * double(count - 1 - i) / ramp);
        out[first + i] += value * envelope;
    }
}

const QString kCategory = QStringLiteral("Supervision");

} // namespace

AlertSound::Tone AlertSound::toneFor(SupervisionAlert::Kind kind)
{
    switch (kind) {
    case SupervisionAlert::Kind::Conflict:
        return Tone::Conflict;
    case SupervisionAlert::Kind::RouteDeviation:
    case SupervisionAlert::Kind::AltitudeDeviation:
        return Tone::Chime;
    case SupervisionAlert::Kind::BelowSafeAltitude:
    case SupervisionAlert::Kind::TerrainClearance:
        return Tone::Pulses;
    }
    return Tone::Chime;
}

std::vector<qint16> AlertSound::synthesize(Tone tone, int sampleRate)
{
    std::vector<double> signal;
    switch (tone) {
    case Tone::Conflict:
        for (int pair = 0; pair < 3; ++pair) {
            const double start = pair * 0.26;
            addNote(signal, sampleRate, start, 0.12, {{880.0, 1.0}}, 0.0);
            addNote(signal, sampleRate, start + 0.12, 0.12, {{1175.0, 1.0}}, 0.0);
        }
        break;
    case Tone::Chime:
        addNote(signal, sampleRate, 0.0, 0.35, {{1046.5, 1.0}, {2093.0, 0.25}}, 6.0);
        addNote(signal, sampleRate, 0.35, 0.35, {{784.0, 1.0}, {1568.0, 0.25}}, 6.0);
        break;
    case Tone::Pulses:
        for (int pulse = 0; pulse < 3; ++pulse)
            addNote(signal, sampleRate, pulse * 0.3, 0.2, {{440.0, 1.0}, {1320.0, 0.3}}, 0.0);
        break;
    }
    double peak = 0.0;
    for (const double v : signal)
        peak = std::max(peak, std::abs(v));
    const double scale = peak > 0.0 ? kPeakFraction * 32767.0 / peak : 0.0;
    std::vector<qint16> samples(signal.size());
    for (size_t i = 0; i < signal.size(); ++i)
        samples[i] = qint16(std::lround(signal[i] * scale));
    return samples;
}

AlertSoundPlayer::AlertSoundPlayer(QObject *parent) : QObject(parent) {}

AlertSoundPlayer::~AlertSoundPlayer()
{
    if (m_sink)
        m_sink->stop();
}

void AlertSoundPlayer::setMuted(bool muted)
{
    if (muted == m_muted)
        return;
    m_muted = muted;
    if (muted && m_sink)
        m_sink->stop();
    emit mutedChanged(muted);
}

bool AlertSoundPlayer::ensureOutput()
{
    if (m_checked)
        return m_available;
    m_checked = true;
    const QAudioDevice device = QMediaDevices::defaultAudioOutput();
    if (!device.isNull()) {
        for (const int rate : {AlertSound::kSampleRate, 44100, 48000}) {
            QAudioFormat format;
            format.setSampleRate(rate);
            format.setChannelCount(1);
            format.setSampleFormat(QAudioFormat::Int16);
            if (device.isFormatSupported(format)) {
                m_sampleRate = rate;
                m_available = true;
                break;
            }
        }
    }
    if (!m_available)
        AppLogger::instance().log(AppLogger::Warning, kCategory,
                                  QStringLiteral("No audio output for mono 16-bit sound: alerts are shown without "
                                                 "sound"));
    return m_available;
}

bool AlertSoundPlayer::play(AlertSound::Tone tone)
{
    if (m_muted || !ensureOutput())
        return false;
    if (m_sink) {
        m_sink->stop();
        m_sink->deleteLater();
    }
    const std::vector<qint16> samples = AlertSound::synthesize(tone, m_sampleRate);
    QAudioFormat format;
    format.setSampleRate(m_sampleRate);
    format.setChannelCount(1);
    format.setSampleFormat(QAudioFormat::Int16);
    m_sink = new QAudioSink(QMediaDevices::defaultAudioOutput(), format, this);
    // The samples live in a buffer owned by the sink, so both go together.
    auto *buffer = new QBuffer(m_sink);
    buffer->setData(reinterpret_cast<const char *>(samples.data()), qsizetype(samples.size() * sizeof(qint16)));
    buffer->open(QIODevice::ReadOnly);
    connect(m_sink, &QAudioSink::stateChanged, m_sink, [sink = m_sink.data()](QAudio::State state) {
        if (state == QAudio::IdleState)
            sink->stop();
    });
    m_sink->start(buffer);
    if (m_sink->error() != QAudio::NoError) {
        AppLogger::instance().log(AppLogger::Warning, kCategory,
                                  QStringLiteral("Alert sound could not be played: the audio output refused it"));
        m_available = false;
        return false;
    }
    return true;
}

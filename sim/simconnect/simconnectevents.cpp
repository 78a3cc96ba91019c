#include "sim/simconnect/simconnectevents.h"

#include <cmath>

namespace simconnectevents {

namespace {

// The BCD16 radio events and their whole-hertz twins.
struct RadioPair
{
    const char *bcd;
    const char *hz;
};
constexpr RadioPair kRadioPairs[] = {
    {"COM_RADIO_SET", "COM_RADIO_SET_HZ"},   {"COM_STBY_RADIO_SET", "COM_STBY_RADIO_SET_HZ"},
    {"COM2_RADIO_SET", "COM2_RADIO_SET_HZ"}, {"COM2_STBY_RADIO_SET", "COM2_STBY_RADIO_SET_HZ"},
    {"NAV1_RADIO_SET", "NAV1_RADIO_SET_HZ"}, {"NAV1_STBY_SET", "NAV1_STBY_SET_HZ"},
    {"NAV2_RADIO_SET", "NAV2_RADIO_SET_HZ"}, {"NAV2_STBY_SET", "NAV2_STBY_SET_HZ"},
};

struct Alias
{
    const char *first;
    const char *second;
};
constexpr Alias kAliases[] = {
    {"KEY_TUG_HEADING", "TUG_HEADING"},
    {"KEY_TUG_SPEED", "TUG_SPEED"},
};

constexpr quint32 kVhfBaseHz = 100000000; // the leading 1 BCD16 leaves out
constexpr quint32 kBcdStepHz = 10000;     // 10 kHz per unit of the four digits

} // namespace

std::optional<quint32> bcd16FromHz(quint32 hz)
{
    if (hz < kVhfBaseHz || hz >= 2 * kVhfBaseHz)
        return std::nullopt;
    // Whole tens of kilohertz: a 25 kHz channel such as 118.025 is tuned as 118.02, as these
    // radios show it.
    quint32 digits = ((hz - kVhfBaseHz) / kBcdStepHz) % 10000;
    quint32 bcd = 0;
    for (int shift = 0; shift < 16; shift += 4, digits /= 10)
        bcd |= (digits % 10) << shift;
    return bcd;
}

std::optional<quint32> hzFromBcd16(quint32 bcd)
{
    if (bcd > 0xFFFF)
        return std::nullopt;
    quint32 digits = 0;
    for (int shift = 12; shift >= 0; shift -= 4) {
        const quint32 digit = (bcd >> shift) & 0xF;
        if (digit > 9)
            return std::nullopt;
        digits = digits * 10 + digit;
    }
    return kVhfBaseHz + digits * kBcdStepHz;
}

Translated translateRadioEvent(const QString &name, quint32 data, bool msfs)
{
    for (const RadioPair &pair : kRadioPairs) {
        if (msfs && name == QLatin1String(pair.bcd)) {
            if (const auto hz = hzFromBcd16(data))
                return {QLatin1String(pair.hz), *hz};
        } else if (!msfs && name == QLatin1String(pair.hz)) {
            if (const auto bcd = bcd16FromHz(data))
                return {QLatin1String(pair.bcd), *bcd};
        }
    }
    return {name, data};
}

QString alternativeName(const QString &event)
{
    for (const Alias &alias : kAliases) {
        if (event == QLatin1String(alias.first))
            return QLatin1String(alias.second);
        if (event == QLatin1String(alias.second))
            return QLatin1String(alias.first);
    }
    return {};
}

bool isForeignName(const QString &name)
{
    return name.startsWith(QLatin1String("XPlaneFailure")) || name.contains(QLatin1Char('/'));
}

quint32 wholeDegrees(double degrees)
{
    double whole = std::fmod(std::round(degrees), 360.0);
    if (!std::isfinite(whole))
        return 0;
    if (whole < 0)
        whole += 360.0;
    return static_cast<quint32>(whole);
}

} // namespace simconnectevents

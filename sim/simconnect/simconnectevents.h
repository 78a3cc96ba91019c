#pragma once

#include <QString>

#include <optional>

// How the station's writes are phrased for a SimConnect simulator: radio events in the form each
// simulator takes, the other name of an event a simulator may know under another spelling, and the
// names that can never be SimConnect variables.
namespace simconnectevents {

struct Translated
{
    QString name;
    quint32 data = 0;
};

// A radio-frequency event in the form the simulator takes. On MSFS the BCD16 events
// (COM_RADIO_SET, NAV1_STBY_SET, …) become their _HZ twins with whole hertz, which also carry the
// 8.33 kHz channels; elsewhere the _HZ events (MSFS only) become the BCD16 events. Any other event,
// and data that is not a valid frequency in the sender's form, pass unchanged.
Translated translateRadioEvent(const QString &name, quint32 data, bool msfs);

// BCD16 of a VHF frequency: the four digits after the leading 1, whole tens of kilohertz
// (121.50 MHz -> 0x2150, 118.025 MHz -> 0x1802). Nothing for a frequency outside 100..199.99 MHz.
std::optional<quint32> bcd16FromHz(quint32 hz);
// The frequency in hertz a BCD16 word stands for, or nothing for a word with a non-decimal digit.
std::optional<quint32> hzFromBcd16(quint32 bcd);

// The other spelling of an event that simulators name differently (KEY_TUG_HEADING on FSX and
// Prepar3D, TUG_HEADING in the MSFS documentation); empty when there is none.
QString alternativeName(const QString &event);

// X-Plane failure keys and dataref paths: names a SimConnect simulator has no variable for.
bool isForeignName(const QString &name);

// A heading in whole degrees 0..359 for the heading-bug event.
quint32 wholeDegrees(double degrees);

} // namespace simconnectevents

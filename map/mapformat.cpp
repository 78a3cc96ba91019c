#include "map/mapformat.h"

#include <QStringView>

#include <cmath>

QString MapFormat::navaidFrequency(const NavaidRecord &navaid)
{
    if (navaid.freq <= 0.0)
        return QString();
    const QString type = navaid.type.toUpper();
    if (type.contains(QLatin1String("NDB")))
        return QStringLiteral("%1 kHz").arg(navaid.freq, 0, 'f', navaid.freq == int(navaid.freq) ? 0 : 1);
    double mhz = navaid.freq;
    if (mhz >= 1000.0)
        mhz /= 100.0;
    return QStringLiteral("%1 MHz").arg(mhz, 0, 'f', 2);
}

QString MapFormat::altitudeLimit(int feet)
{
    if (feet <= 0)
        return QStringLiteral("GND");
    if (feet >= 18000)
        return QStringLiteral("FL%1").arg(feet / 100, 3, 10, QLatin1Char('0'));
    return QStringLiteral("%1 ft").arg(feet);
}

bool MapFormat::isIlsComponent(const QString &type)
{
    const QString t = type.toUpper();
    return t.startsWith(QLatin1String("ILS")) || t.startsWith(QLatin1String("LOC")) || t == QLatin1String("GS") ||
           t.startsWith(QLatin1String("LDA")) || t.startsWith(QLatin1String("SDF")) ||
           t.startsWith(QLatin1String("IGS")) || t == QLatin1String("OM") || t == QLatin1String("MM") ||
           t == QLatin1String("IM") || t.contains(QLatin1String("MARKER")) || t.contains(QLatin1String("DME-ILS")) ||
           t.contains(QLatin1String("LOCALIZER")) || t.contains(QLatin1String("GLIDE"));
}

bool MapFormat::isVorFamily(const QString &type)
{
    const QString t = type.toUpper();
    return t.contains(QLatin1String("VOR")) || t.contains(QLatin1String("TACAN"));
}

int MapFormat::longestRunwayFt(const AirportRecord &airport)
{
    return airportLongestRunwayFt(airport);
}

double MapFormat::airportImportance(const AirportRecord &airport)
{
    return ::airportImportance(airport);
}

QString MapFormat::position(double lat, double lon)
{
    const auto part = [](double value, QChar positive, QChar negative, int degreeDigits) {
        const double absolute = std::abs(value);
        int degrees = int(absolute);
        double minutes = (absolute - degrees) * 60.0;
        if (minutes >= 59.995) {
            minutes = 0.0;
            ++degrees;
        }
        return QStringLiteral("%1%2\u00B0%3\u2032")
            .arg(value < 0 ? negative : positive)
            .arg(degrees, degreeDigits, 10, QLatin1Char('0'))
            .arg(minutes, 5, 'f', 2, QLatin1Char('0'));
    };
    return part(lat, QLatin1Char('N'), QLatin1Char('S'), 2) + QLatin1Char(' ') +
           part(lon, QLatin1Char('E'), QLatin1Char('W'), 3);
}

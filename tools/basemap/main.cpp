// zobrel-basemap: builds the offline base map compiled into the map library from the Natural
// Earth admin-0 countries files of the world-atlas package (TopoJSON, public domain data):
//
//   zobrel-basemap <output.zbm> <countries-110m.json> <countries-50m.json> <countries-10m.json>
//
// 1:110m serves zoom 0-3, 1:50m zoom 4-6 and 1:10m, thinned to two quantisation units (about
// 700 m), zoom 7 and above. Run at development time; map/basemap/README.md names the inputs.

#include "topojsonbands.h"

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>

namespace {

struct BandSource
{
    int minZoom;
    int maxZoom;
    int tolerance;
};

constexpr BandSource kBands[] = {{0, 3, 0}, {4, 6, 0}, {7, 18, 2}};

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream err(stderr);
    const QStringList args = app.arguments().mid(1);
    if (args.size() != 4) {
        err << "usage: zobrel-basemap <output.zbm> <countries-110m.json> <countries-50m.json> "
               "<countries-10m.json>\n";
        return 2;
    }
    QList<BaseMapData::Band> bands;
    for (int i = 0; i < 3; ++i) {
        QFile input(args.at(i + 1));
        if (!input.open(QIODevice::ReadOnly)) {
            err << "cannot read " << input.fileName() << "\n";
            return 1;
        }
        QString error;
        const auto band =
            TopoJsonBands::readBand(input.readAll(), kBands[i].minZoom, kBands[i].maxZoom, kBands[i].tolerance, &error);
        if (!band) {
            err << input.fileName() << ": " << error << "\n";
            return 1;
        }
        qsizetype points = 0;
        for (const auto &arc : band->quantised)
            points += arc.size();
        err << input.fileName() << ": " << band->quantised.size() << " arcs, " << points << " points, "
            << band->land.size() << " land polygons, " << band->borders.size() << " border arcs\n";
        bands.append(*band);
    }
    QFile output(args.at(0));
    const QByteArray bytes = BaseMapData::encode(bands);
    if (!output.open(QIODevice::WriteOnly | QIODevice::Truncate) || output.write(bytes) != bytes.size()) {
        err << "cannot write " << output.fileName() << "\n";
        return 1;
    }
    err << output.fileName() << ": " << bytes.size() << " bytes\n";
    return 0;
}

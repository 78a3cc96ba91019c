// libFuzzer entry point for BglReader, built only with clang (coverage-guided, with address and
// undefined-behaviour checks). The default test run uses the mutation loop in tst_bglfuzz.cpp,
// which needs no special compiler.

#include "nav/bglreader.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > 0x7FFFFFFF)
        return 0;
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    BglReader p3d(SimType::Prepar3D);
    p3d.parseData(bytes, QStringLiteral("fuzz"));
    p3d.resolveAirwayEndpoints();
    BglReader msfs(SimType::Msfs2020);
    msfs.parseData(bytes, QStringLiteral("fuzz"));
    return 0;
}

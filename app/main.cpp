#include "app/log/applogger.h"
#include "app/station.h"

#include <cstdlib>
#include <exception>

int main(int argc, char *argv[])
{
    try {
        return runStation(argc, argv);
    } catch (const std::exception &e) {
        AppLogger::instance().log(AppLogger::Error, QStringLiteral("Main"),
                                  QStringLiteral("EXCEPTION: %1").arg(QString::fromLocal8Bit(e.what())));
    } catch (...) {
        AppLogger::instance().log(AppLogger::Error, QStringLiteral("Main"), QStringLiteral("EXCEPTION: unknown"));
    }
    return EXIT_FAILURE;
}

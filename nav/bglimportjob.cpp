#include "nav/bglimportjob.h"

#include "app/log/applogger.h"
#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/textinput.h"

#include <QFile>
#include <QFileInfo>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

// Passes an outside cancel flag on to the builder, polled every 50 ms on a thread of its own,
// because the builder's loops check only their own flag.
class CancelRelay
{
public:
    CancelRelay(std::atomic_bool *flag, DatabaseBuilder &builder)
    {
        if (!flag)
            return;
        m_thread = std::thread([this, flag, &builder] {
            std::unique_lock<std::mutex> lock(m_mutex);
            while (!m_done) {
                if (flag->load())
                    builder.requestCancel();
                m_wake.wait_for(lock, std::chrono::milliseconds(50));
            }
        });
    }
    ~CancelRelay()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_done = true;
        }
        m_wake.notify_all();
        if (m_thread.joinable())
            m_thread.join();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_done = false;
    std::thread m_thread;
};

} // namespace

bool runBglImport(const QString &source, const QString &target, SimType kind,
                  std::function<void(QString stage, int current, int total)> progress, std::atomic_bool *cancel,
                  QString *message)
{
    const QString temporary = target + QStringLiteral(".building");
    QString result;
    bool ok = false;
    navimport::removeDatabaseFiles(temporary);
    {
        DatabaseBuilder builder;
        if (progress)
            QObject::connect(
                &builder, &DatabaseBuilder::importProgress, &builder,
                [&progress](const QString &stage, int current, int total) { progress(stage, current, total); });
        QObject::connect(&builder, &DatabaseBuilder::importFinished, &builder,
                         [&result](const QString &text, bool) { result = text; });
        CancelRelay relay(cancel, builder);
        if (!QFileInfo(source).exists()) {
            result = QStringLiteral("Scenery source not found: %1").arg(source);
        } else if (kind == SimType::Msfs2020) {
            ok = DatabaseBuilder::isNavigraphMsfsDir(source) ? builder.importNavigraphMsfs(temporary, source)
                                                             : builder.importMsfsScenery(temporary, source);
        } else if (kind == SimType::Prepar3D || kind == SimType::Fsx) {
            ok = builder.importP3DScenery(temporary, source);
        } else {
            result = QStringLiteral("Scenery import needs Prepar3D, FSX or MSFS 2020, not %1").arg(simTypeName(kind));
        }
        // The scenery tables exist now, with airways in their full form, so the whole schema
        // (metadata, indexes) completes.
        if (ok && !builder.createSchema(temporary)) {
            ok = false;
            result = QStringLiteral("Cannot complete the schema of %1").arg(temporary);
        }
        if (ok && cancel && cancel->load()) {
            ok = false;
            result = QStringLiteral("Scenery import cancelled");
        }
    }
    if (ok)
        ok = navimport::replaceDatabaseFile(temporary, target, &result);
    if (!ok)
        navimport::removeDatabaseFiles(temporary);
    // A cancel is the user's choice, not a problem to report.
    const bool cancelled = !ok && cancel && cancel->load();
    AppLogger::instance().log(ok || cancelled ? AppLogger::Info : AppLogger::Error, QStringLiteral("NavBuilder"),
                              ok ? QStringLiteral("Scenery import finished: %1").arg(result)
                                 : QStringLiteral("Scenery import failed: %1").arg(result));
    if (message)
        *message = result;
    return ok;
}

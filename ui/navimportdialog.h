#pragma once

#include "sim/simtype.h"

#include <QDialog>
#include <QList>
#include <QMap>
#include <QString>

#include <functional>
#include <memory>

class Msfs2024NavImporter;
class NavDatabaseBuild;
class SimConnectSession;
class QComboBox;
class QGridLayout;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;

// Builds the navigation database of an X-Plane 11/12 installation (plus optional route-finder,
// ATC and airspace folders), or of the scenery library of Prepar3D, FSX or MSFS 2020, into the
// per-simulator database file in databaseDir (FSX shares the Prepar3D file): the operator picks
// the source and folders, starts, watches one progress bar per stage and can cancel at any time;
// at the end the dialog lists the rows per table. MSFS 2024 keeps its data in the simulator: it is
// read from the running simulator through the session set with setSimConnectSession, one progress
// bar per phase of the facility import.
//
// The build runs on a worker thread owned by the dialog (NavDatabaseBuild); a cancelled or failed
// build leaves the previous database as it was. After a successful build databaseBuilt(path) is
// emitted so that the owner can reload the provider. Created on demand by the main window (its
// parent) on the GUI thread; closing it while a build runs cancels the build and waits for it.
class NavImportDialog : public QDialog
{
    Q_OBJECT
public:
    explicit NavImportDialog(const QString &databaseDir, QWidget *parent = nullptr);
    ~NavImportDialog() override;

    // Presets: the X-Plane folder (for example the "xplanePath" setting), the scenery source of
    // the selected Prepar3D/FSX/MSFS 2020 source, and the source matching a simulator (ignored for
    // None).
    void setXPlaneFolder(const QString &folder);
    void setSceneryFolder(const QString &folder);
    void setSimType(SimType type);
    // The open MSFS 2024 session the facility import asks, or null when there is none; not owned.
    void setSimConnectSession(SimConnectSession *session);
    SimType simType() const;

    // The database file the current source is built into.
    QString databasePath() const;
    bool isBuilding() const;

    void reject() override;

signals:
    void databaseBuilt(const QString &path);

protected:
    void changeEvent(QEvent *event) override;

private:
    enum class StageState { Waiting, Running, Done, Cancelled, Failed };
    struct StageRow
    {
        QString key;
        QLabel *label = nullptr;
        QProgressBar *bar = nullptr;
        QLabel *state = nullptr;
        StageState stageState = StageState::Waiting;
    };
    // A text the dialog shows, made again in the current language after a language switch.
    using Text = std::function<QString()>;

    struct FolderRow
    {
        QLabel *label = nullptr;
        QLineEdit *edit = nullptr;
        QPushButton *browse = nullptr;
        void setVisible(bool visible) const;
    };

    void retranslateUi();
    FolderRow addFolderRow(QGridLayout *grid, int row, const char *label, const char *objectName);
    void labelSceneryRow();
    void setStageState(StageRow &row, StageState state);
    void setStatus(const Text &text);
    void setResult(const Text &text);
    bool isScenerySource() const;
    bool isFacilitySource() const;
    void startFacilityImport();
    void updateSource();
    void fitHeight();
    void rebuildStageRows();
    void start();
    void cancel();
    void onStageStarted(const QString &stage, int index, int stageCount);
    void onProgress(const QString &stage, int current, int total);
    void onFinished(const QString &message, bool success);
    void setRunning(bool running);
    StageRow *rowFor(const QString &stage);
    static QString stageTitle(const QString &stage);
    static QString tableTitle(const QString &table);

    QString m_databaseDir;
    QComboBox *m_source = nullptr;
    FolderRow m_xplaneRow;
    FolderRow m_sceneryRow;
    QLineEdit *m_routeFinderFolder = nullptr;
    QLineEdit *m_atcFolder = nullptr;
    QLineEdit *m_openAirFolder = nullptr;
    QLineEdit *m_openAipFolder = nullptr;
    QLabel *m_target = nullptr;
    QGroupBox *m_extraBox = nullptr;
    // The scenery source typed for each simulator, so that switching between them keeps it.
    QMap<SimType, QString> m_sceneryFolders;
    SimType m_sceneryShown = SimType::None;
    QGridLayout *m_stageGrid = nullptr;
    QList<StageRow> m_stages;
    QList<QPushButton *> m_browseButtons;
    QLabel *m_status = nullptr;
    QPlainTextEdit *m_result = nullptr;
    Text m_statusText;
    Text m_resultText;
    // Only what retranslateUi() relabels.
    QList<QPair<QLabel *, const char *>> m_captions;
    QGroupBox *m_sourceBox = nullptr;
    QGroupBox *m_progressBox = nullptr;
    QPushButton *m_startButton = nullptr;
    QPushButton *m_cancelButton = nullptr;
    QPushButton *m_closeButton = nullptr;
    std::unique_ptr<NavDatabaseBuild> m_build;
    Msfs2024NavImporter *m_facilityImport = nullptr;
    QString m_activeStage;
    bool m_cancelRequested = false;
};

#pragma once

// A small navigation database of the offline schema with known contents, and zobrel-navd run as
// a real process on loopback serving it: shared by the service's tests and the online
// provider's.

#include "nav/databasebuilder.h"
#include "nav/navschema.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QTest>

namespace navservicetest {

// Shanghai's two airports with runways, aids, fixes, an airway, an airspace, procedures with legs
// and Pudong's ground layout; Beijing far away; and a cluster of 400 small fields east of
// Shanghai that a low-zoom reply has to thin. The cycle is 24/03 unless told otherwise.
inline bool writeSampleDatabase(const QString &path, const QString &cycleMinor = QStringLiteral("03"))
{
    if (!DatabaseBuilder().executeSql(path, schema::completeStatements()))
        return false;
    QStringList sql{
        "INSERT INTO airports (icao,name,lat,lon,elevation,city,country,has_tower,runway_count) VALUES "
        "('ZSPD','Shanghai Pudong',31.1434,121.8052,13,'Shanghai','CN',1,2),"
        "('ZSSS','Shanghai Hongqiao',31.1979,121.3363,10,'Shanghai','CN',1,2),"
        "('ZBAA','Beijing Capital',40.0801,116.5846,116,'Beijing','CN',1,3)",
        "INSERT INTO runways (airport_icao,ident,length,width,heading,lat,lon,surface) VALUES "
        "('ZSPD','16L',13123,197,163.0,31.1700,121.7900,'ASPH'),('ZSPD','34R',13123,197,343.0,31.1100,121.8100,'ASPH'),"
        "('ZSSS','18L',11155,197,180.0,31.2100,121.3400,'CONC'),('ZSSS','36R',11155,197,0.0,31.1800,121.3400,'CONC')",
        "INSERT INTO navaids (ident,type,lat,lon,freq,range_nm,airport_icao) VALUES "
        "('PUD','VOR',31.1500,121.8000,114.8,130,''),('SH','NDB',31.2000,121.3000,350,50,'ZSSS'),"
        "('PEK','VOR',40.0700,116.6000,114.7,130,'')",
        "INSERT INTO waypoints (ident,lat,lon,type) VALUES ('DUMET',31.3000,121.5000,'WPT'),"
        "('ODULO',31.0000,121.9000,'WPT'),('ELATO',39.9000,116.4000,'WPT')",
        "INSERT INTO airways (name,level,from_lat,from_lon,to_lat,to_lon,from_ident,to_ident,distance) VALUES "
        "('A593','HIGH',31.3000,121.5000,31.0000,121.9000,'DUMET','ODULO',27.5)",
        "INSERT INTO airspaces (name,type,bottom_alt,top_alt,boundary) VALUES "
        "('Shanghai TMA','CLASS_C',0,18000,'121.0,30.8 122.2,30.8 122.2,31.6 121.0,31.6')",
        "INSERT INTO procedures (airport_icao,type,runway_ident,name) VALUES "
        "('ZSPD','SID','16L','PIK1A'),('ZSPD','STAR','34R','DUM2B')",
        "INSERT INTO procedure_legs (airport_icao,proc_name,proc_type,runway,seq,fix_ident,fix_region,fix_type1,"
        "fix_type2,fix_type3,leg_type,lat,lon,altitude,speed_limit) VALUES "
        "('ZSPD','PIK1A','SID','16L',1,'ODULO','ZS','E','','','TF',31.0,121.9,5000,250),"
        "('ZSPD','DUM2B','STAR','34R',1,'DUMET','ZS','E','','','IF',31.3,121.5,9000,0)",
        "INSERT INTO parkings (airport_icao,name,type,lat,lon,heading) VALUES "
        "('ZSPD','G101','GATE',31.1500,121.8000,90)",
        "INSERT INTO towers (airport_icao,lat,lon,frequency,name) VALUES ('ZSPD',31.1450,121.8000,118.1,'Pudong "
        "Tower')",
        "INSERT INTO frequencies (airport_icao,type,frequency,name) VALUES ('ZSPD','TWR',118.1,'Pudong Tower')",
        "INSERT INTO taxiway_nodes (airport_icao,node_id,lat,lon,node_type,node_name) VALUES "
        "('ZSPD',1,31.1400,121.8000,'taxi',''),('ZSPD',2,31.1410,121.8010,'taxi','')",
        "INSERT INTO taxiway_edges (airport_icao,from_node_id,to_node_id,direction,restriction,taxiway_name) VALUES "
        "('ZSPD',1,2,'twoway','','A')",
        "INSERT INTO navdata_meta (key,value) VALUES ('cycle_major','24'),('cycle_minor','" + cycleMinor +
            "'),('provider','test')",
    };
    QStringList cluster;
    for (int i = 0; i < 400; ++i)
        cluster << QStringLiteral("('X%1','Field %1',%2,%3,10,'','CN',0,1)")
                       .arg(i, 3, 10, QLatin1Char('0'))
                       .arg(31.5 + (i / 20) * 0.05)
                       .arg(122.5 + (i % 20) * 0.05);
    sql << "INSERT INTO airports (icao,name,lat,lon,elevation,city,country,has_tower,runway_count) VALUES " +
               cluster.join(',');
    bool ok = true;
    const QString name = QStringLiteral("navservicetest_write");
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        ok = db.open();
        QSqlQuery q(db);
        for (const QString &statement : std::as_const(sql)) {
            if (ok && !q.exec(statement)) {
                qWarning("sample database: %s", qPrintable(q.lastError().text()));
                ok = false;
            }
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
    return ok;
}

// zobrel-navd on 127.0.0.1 with a free port; stopped (and waited for) on destruction.
class NavdProcess
{
public:
    ~NavdProcess() { stop(); }

    bool start(const QString &executable, const QStringList &args)
    {
        m_process.setProgram(executable);
        m_process.setArguments(QStringList{"--listen", "127.0.0.1", "--port", QString::number(m_port)} + args);
        m_process.start();
        if (!m_process.waitForStarted(5000))
            return false;
        QElapsedTimer timer;
        timer.start();
        static const QRegularExpression line(QStringLiteral("listening on port (\\d+)"));
        QByteArray out;
        while (timer.elapsed() < 20000 && m_process.state() == QProcess::Running) {
            m_process.waitForReadyRead(200);
            out += m_process.readAllStandardOutput();
            const QRegularExpressionMatch m = line.match(QString::fromUtf8(out));
            if (m.hasMatch()) {
                m_port = m.captured(1).toUShort();
                return true;
            }
        }
        m_errors = m_process.readAllStandardError();
        return false;
    }

    // Stops the process; start() with the same arguments comes back on the same port.
    void stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.terminate();
        if (!m_process.waitForFinished(5000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }

    quint16 port() const { return m_port; }
    QString baseUrl() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_port); }
    QByteArray errors() { return m_errors + m_process.readAllStandardError(); }
    QProcess &process() { return m_process; }

private:
    QProcess m_process;
    quint16 m_port = 0;
    QByteArray m_errors;
};

inline bool writeTokens(const QString &path, const QByteArray &content)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(content) == content.size();
}

} // namespace navservicetest

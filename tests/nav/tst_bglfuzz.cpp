// A bounded, deterministic mutation loop over BglReader::parseData (and parseFile now and
// then): the real test airport and the synthetic samples are damaged in many ways — bit flips,
// truncation, inserted and deleted bytes, counts, offsets and sizes set to 0, to huge, to
// negative values — and every parse must return, quickly, with sane records.
//
// Where the platform offers mmap the input ends right at a page that may not be read, so a read
// even one byte past the buffer crashes the test instead of going unnoticed.
//
// ZOBREL_BGLFUZZ_ITERATIONS and ZOBREL_BGLFUZZ_SEED change the run; ZOBREL_BGLFUZZ_LAST names a
// file that receives each input before it is parsed, to reproduce a crash.

#include "tst_bglsamples.h"

#include "nav/bglreader.h"
#include "tests/support/logexpect.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <cstring>
#include <random>

#if __has_include(<sys/mman.h>) && __has_include(<unistd.h>)
#include <sys/mman.h>
#include <unistd.h>
#define BGLFUZZ_GUARD_PAGE 1
#endif

using namespace bglsamples;

namespace {

// Holds one input so that its last byte is the last readable byte.
class GuardedBuffer
{
public:
    GuardedBuffer() = default;
    GuardedBuffer(const GuardedBuffer &) = delete;
    GuardedBuffer &operator=(const GuardedBuffer &) = delete;
    ~GuardedBuffer() { release(); }

    QByteArray wrap(const QByteArray &data)
    {
#ifdef BGLFUZZ_GUARD_PAGE
        const size_t page = size_t(sysconf(_SC_PAGESIZE));
        const size_t needed = (size_t(data.size()) + page - 1) / page * page + page;
        if (needed > m_length) {
            release();
            void *p = mmap(nullptr, needed, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (p == MAP_FAILED)
                return data;
            m_base = static_cast<char *>(p);
            m_length = needed;
            mprotect(m_base + m_length - page, page, PROT_NONE);
        }
        char *start = m_base + (m_length - page) - data.size();
        std::memcpy(start, data.constData(), size_t(data.size()));
        return QByteArray::fromRawData(start, data.size());
#else
        return data;
#endif
    }

private:
    void release()
    {
#ifdef BGLFUZZ_GUARD_PAGE
        if (m_base)
            munmap(m_base, m_length);
#endif
        m_base = nullptr;
        m_length = 0;
    }

    char *m_base = nullptr;
    size_t m_length = 0;
};

class Mutator
{
public:
    explicit Mutator(quint32 seed) : m_random(seed) {}

    int below(int n) { return n <= 0 ? 0 : int(m_random() % quint32(n)); }

    void mutate(QByteArray &b)
    {
        const int rounds = 1 + below(3);
        for (int i = 0; i < rounds; ++i)
            mutateOnce(b);
    }

private:
    quint32 special(const QByteArray &b)
    {
        const quint32 values[] = {0,
                                  1,
                                  5,
                                  6,
                                  7,
                                  16,
                                  0xFFFF,
                                  0x10000,
                                  0x7FFFFFFF,
                                  0x80000000,
                                  0xFFFFFFFF,
                                  0xFFFFFFFA,
                                  quint32(b.size()),
                                  quint32(b.size() - 1),
                                  quint32(b.size() + 1),
                                  quint32(m_random())};
        return values[below(int(std::size(values)))];
    }

    // Positions where a record header seems to sit (an id below 0x120 and a size that fits).
    qsizetype recordHeader(const QByteArray &b)
    {
        for (int tries = 0; tries < 16 && b.size() > 6; ++tries) {
            const qsizetype at = below(int(b.size() - 6));
            const quint32 size = quint8(b[at + 2]) | (quint8(b[at + 3]) << 8) | (quint8(b[at + 4]) << 16) |
                                 (quint32(quint8(b[at + 5])) << 24);
            if (quint8(b[at + 1]) == 0 && size >= 6 && size <= quint32(b.size() - at))
                return at;
        }
        return -1;
    }

    void putSpecial(QByteArray &b, qsizetype at, int width)
    {
        if (at < 0 || at + width > b.size())
            return;
        const quint32 v = special(b);
        for (int i = 0; i < width; ++i)
            b[at + i] = char((v >> (8 * i)) & 0xFF);
    }

    void mutateOnce(QByteArray &b)
    {
        const int size = int(b.size());
        switch (below(10)) {
        case 0: // flip bits
            for (int i = 0, n = 1 + below(8); i < n && size > 0; ++i) {
                const int at = below(size);
                b[at] = char(b[at] ^ (1 << below(8)));
            }
            break;
        case 1: // random bytes
            for (int i = 0, n = 1 + below(8); i < n && size > 0; ++i)
                b[below(size)] = char(m_random());
            break;
        case 2: // truncate
            b.truncate(below(size + 1));
            break;
        case 3: { // insert junk
            QByteArray junk(1 + below(64), '\0');
            for (char &c : junk)
                c = char(m_random());
            b.insert(below(size + 1), junk);
            break;
        }
        case 4: // delete a range
            b.remove(below(size + 1), 1 + below(64));
            break;
        case 5: // a 16- or 32-bit field anywhere
            putSpecial(b, below(size), below(2) ? 4 : 2);
            break;
        case 6: // the section count or a word of the section table
            putSpecial(b, below(2) ? 0x14 : 56 + 4 * below(40), 4);
            break;
        case 7: // a word of a subsection table (they follow the section table)
            putSpecial(b, 56 + 20 * below(8) + 4 * below(24), 4);
            break;
        case 8: { // a record's size, or a list count right after a header
            const qsizetype at = recordHeader(b);
            if (at >= 0)
                putSpecial(b, below(2) ? at + 2 : at + 6, below(2) ? 4 : 2);
            break;
        }
        default: { // copy a chunk over another place (overlapping structures)
            if (size < 2)
                break;
            const int length = 1 + below(qMin(size, 256));
            const QByteArray chunk = b.mid(below(size - length + 1), length);
            b.replace(below(size - length + 1), length, chunk);
            break;
        }
        }
    }

    std::mt19937 m_random;
};

bool finite(std::initializer_list<double> values)
{
    for (double v : values) {
        if (!std::isfinite(v))
            return false;
    }
    return true;
}

bool valid(double lat, double lon)
{
    return lat >= -90.0 && lat <= 90.0 && lon >= -180.0 && lon <= 180.0;
}

// What the records must satisfy whatever the input: positions on the globe (NDBs are decoded
// as the file says and only need to be finite), every number finite.
QString checkRecords(const BglReader &r)
{
    for (const BglAirport &a : r.airports()) {
        if (!valid(a.lat, a.lon) || a.ident.isEmpty() || !finite({a.altitudeFt, a.magVarDeg, a.towerLat}))
            return QStringLiteral("airport ") + a.ident;
        for (const BglRunway &rw : a.runways) {
            if (!valid(rw.lat, rw.lon) || !finite({rw.lengthFt, rw.widthFt, rw.headingDegTrue, rw.primary.lat,
                                                   rw.primary.lon, rw.secondary.lat, rw.secondary.lon}))
                return QStringLiteral("runway of ") + a.ident;
        }
        for (const BglProcedureLeg &l : a.procedureLegs) {
            if (!finite({l.courseDeg, l.distOrTime, l.altitude1Ft, l.altitude2Ft, l.speedLimitKts}))
                return QStringLiteral("leg of ") + a.ident;
        }
        for (const BglTaxiPath &p : a.taxiPaths) {
            if (p.startIndex < 0 || p.endIndex < 0 || !finite({p.widthFt}))
                return QStringLiteral("taxi path of ") + a.ident;
        }
    }
    for (const BglVor &v : r.vors()) {
        if (!valid(v.lat, v.lon) || !finite({v.rangeNm, v.frequencyMhz, v.dmeLat}))
            return QStringLiteral("vor ") + v.ident;
    }
    for (const BglIls &i : r.ilses()) {
        if (!valid(i.lat, i.lon) || !finite({i.headingDegTrue, i.gsLat, i.gsPitchDeg}))
            return QStringLiteral("ils ") + i.ident;
    }
    for (const BglNdb &n : r.ndbs()) {
        if (!finite({n.lat, n.lon, n.rangeM, n.frequencyKhz}))
            return QStringLiteral("ndb ") + n.ident;
    }
    for (const BglWaypoint &w : r.waypoints()) {
        if (!valid(w.lat, w.lon))
            return QStringLiteral("waypoint ") + w.ident;
    }
    for (const BglBoundary &b : r.boundaries()) {
        for (const QList<QPointF> &polygon : b.polygons) {
            for (const QPointF &p : polygon) {
                if (!valid(p.x(), p.y()))
                    return QStringLiteral("boundary ") + b.name;
            }
        }
    }
    return QString();
}

// A summary that two parses of the same bytes must share.
QString digest(const BglReader &r)
{
    QString out = QStringLiteral("%1/%2/%3/%4/%5/%6/%7/%8/%9")
                      .arg(r.airports().size())
                      .arg(r.vors().size())
                      .arg(r.ilses().size())
                      .arg(r.ndbs().size())
                      .arg(r.markers().size())
                      .arg(r.waypoints().size())
                      .arg(r.airwaySegments().size())
                      .arg(r.boundaries().size())
                      .arg(r.sectionTypes().size());
    for (const BglAirport &a : r.airports())
        out += a.ident + a.name + QString::number(a.runways.size() + a.procedureLegs.size() + a.taxiPaths.size());
    return out;
}

int envInt(const char *name, int fallback)
{
    bool ok = false;
    const int v = qEnvironmentVariableIntValue(name, &ok);
    return ok ? v : fallback;
}

} // namespace

class TestBglFuzz : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void damagedFilesNeverCrash()
    {
        QList<QByteArray> seeds;
        QFile real(QStringLiteral(SHARED_TESTDATA_DIR "/bgl/bglreader-ktst/KTST_TestAirport_v5.BGL"));
        if (real.open(QIODevice::ReadOnly))
            seeds << real.readAll(); // optional: the synthetic seeds cover every record kind
        seeds << file({section(0x03, {airport(Fsx, {})})});
        seeds << file({section(0x03, {airport(P3d5, {0x2D, 0x2E, 0x2C, 0x2F, 2})})});
        seeds << file({section(0x03, {airport(Msfs, {0xF4, 0xF5, 0x49, 0xF6, 1}), msfsProcedureAirport()})});
        seeds << navaidFile();
        seeds << file({Section{0x17,
                               {Subsection{ndb("AAA", "K1", 1, 2, 300000, 1).data(), 3},
                                Subsection{ndb("BBB", "K1", 1, 2, 300000, 1).data(), 1}}}});

        const int iterations = envInt("ZOBREL_BGLFUZZ_ITERATIONS", 100000);
        Mutator mutator(quint32(envInt("ZOBREL_BGLFUZZ_SEED", 20240611)));
        const QString lastInput = qEnvironmentVariable("ZOBREL_BGLFUZZ_LAST");
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath(QStringLiteral("fuzz.bgl"));
        GuardedBuffer guard;
        qint64 slowestNs = 0;
        int accepted = 0;

        for (int i = 0; i < iterations; ++i) {
            QByteArray input = seeds.at(i % seeds.size());
            mutator.mutate(input);
            if (!lastInput.isEmpty()) {
                QFile out(lastInput);
                QVERIFY(out.open(QIODevice::WriteOnly) && out.write(input) == input.size());
            }
            BglReader reader(i % 3 == 0 ? SimType::Msfs2020 : SimType::Prepar3D);
            QElapsedTimer timer;
            timer.start();
            bool ok;
            if (i % 500 == 0) { // through the file path now and then
                QFile f(path);
                QVERIFY(f.open(QIODevice::WriteOnly) && f.write(input) == input.size());
                f.close();
                ok = reader.parseFile(path);
            } else {
                ok = reader.parseData(guard.wrap(input), QStringLiteral("fuzz"));
            }
            slowestNs = qMax(slowestNs, timer.nsecsElapsed());
            accepted += ok ? 1 : 0;
            // The only refusal without a message is a first section type above 200.
            const quint32 firstType = input.size() >= 60
                                          ? quint32(quint8(input[56])) | quint8(input[57]) << 8 |
                                                quint8(input[58]) << 16 | quint32(quint8(input[59])) << 24
                                          : 0;
            QVERIFY2(ok || !reader.lastError().isEmpty() || firstType > 200,
                     qPrintable(QStringLiteral("iteration %1: failed without a reason").arg(i)));
            const QString bad = checkRecords(reader);
            QVERIFY2(bad.isEmpty(), qPrintable(QStringLiteral("iteration %1: %2").arg(i).arg(bad)));
            if (i % 16 == 0) {
                BglReader again(reader.simType());
                again.parseData(input, QStringLiteral("fuzz"));
                QCOMPARE(digest(again), digest(reader));
            }
        }
        // Most mutants keep a valid header, so the loop really exercised the section parsers.
        QVERIFY(accepted > iterations / 2);
        // No input may make a parse crawl (a runaway loop would show here long before the
        // test's time-out); inputs are at most a few kilobytes.
        QVERIFY2(slowestNs < 2000000000LL, qPrintable(QString::number(slowestNs)));
    }
};

QTEST_GUILESS_MAIN(TestBglFuzz)
#include "tst_bglfuzz.moc"

#include "runtime/sample_spool.h"

#include "runtime/sqlite_file.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QMutexLocker>
#include <QtCore/QThread>
#include <QtSql/QSqlError>

#include <atomic>
#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace
{

const char SQLITE_BEGINNING[] = "SQLite format 3"; // up to its zero byte

const char NO_SPOOL[] = "it is no spool; name another file, or move it away";

const int APPLICATION_ID = 0x4B565370; // "KVSp"

// So many pages in FILE-wal are written to the file, and what FILE-wal has room for from the
// beginning: those pages, and a removal of samples.
const int CHECKPOINT_PAGES = 128;
const qint64 WAL_BYTES = 1024 * 1024;

// A sample takes pages of 4096 bytes for its rows, which each hold a bit less, and some that lead
// to them.
const qint64 PAYLOAD_BYTES = 4000;
const qint64 MORE_PAGES = 8;

// A program that was killed while it started a command leaves the lock to it for a moment.
const int LOCK_MS = 1000;

// The name of a connection: each serves one thread. The system numbers threads anew when one has
// ended. @param end the object that it belongs to
QString connectionOf(const void *end)
{
    static std::atomic<int> threads(0);
    thread_local const int thread = ++threads;
    return QString::fromLatin1("spool-%1-%2")
        .arg(QString::number(reinterpret_cast<quintptr>(end), 16), QString::number(thread));
}

// Makes a connection write within the reserved space.
// @param synchronous the statement that says when it waits for the disk
Failure setUp(const QSqlDatabase &database, const char *synchronous)
{
    const QByteArray checkpoint =
        "PRAGMA wal_autocheckpoint = " + QByteArray::number(CHECKPOINT_PAGES);
    Failure failure = execute(database, synchronous);
    if (!failure)
        failure = execute(database, checkpoint.constData());
    return failure ? failure : execute(database, "PRAGMA secure_delete = OFF");
}

// Has the file system give a file its space now, rather than refuse it later.
Failure allocate(int file, qint64 offset, qint64 bytes)
{
    int error = EINTR;
    while (error == EINTR)
        error = posix_fallocate(file, offset, bytes);
    return error == 0 ? Failure() : Failure(StatusOpen, qt_error_string(error));
}

} // namespace

SampleSpool::SampleSpool(const QString &file, qint64 maxBytes)
    : m_file(file), m_maxBytes(maxBytes), m_lock(-1), m_isWoken(false), m_counts(), m_last(0),
      m_given(0), m_walBytes(0)
{}

SampleSpool::~SampleSpool()
{
    for (const QString &name : qAsConst(m_connections))
        QSqlDatabase::removeDatabase(name);
    if (m_lock >= 0)
        close(m_lock); // only now: a close takes SQLite's locks away as well
}

Failure SampleSpool::failure(const char *what, const QString &why) const
{
    return Failure(
        StatusOpen,
        QString::fromLatin1("cannot %1 the spool %2: %3").arg(QLatin1String(what), m_file, why));
}

Failure SampleSpool::open()
{
    Failure failure = lock();
    if (failure)
        return failure;
    QSqlDatabase database;
    bool isSpool = true;
    failure = connect(&database);
    if (!failure)
        failure = claim(database, &isSpool);
    if (!isSpool)
        return this->failure("open", QLatin1String(NO_SPOOL));
    if (!failure)
        failure = check(database);
    if (!failure)
        failure = useWal(database);
    if (!failure)
        failure = loadCounts(database);
    if (!failure) { // a full disk refuses samples, but gives those that wait
        static_cast<void>(reserveWal(WAL_BYTES));
        return failure;
    }
    struct statvfs disk;
    if (fstatvfs(m_lock, &disk) == 0 && disk.f_bavail * disk.f_frsize < quint64(WAL_BYTES))
        return this->failure("open", failure.text() +
                                         QLatin1String("; its disk needs 2 MiB of free space"));
    return this->failure("open", failure.text() +
                                     QString::fromLatin1("; if it is damaged, move it away, and "
                                                         "with it %1-wal and %1-shm")
                                         .arg(m_file));
}

// The connection of this thread.
Failure SampleSpool::connect(QSqlDatabase *database)
{
    const QString name = connectionOf(this);
    const bool isKnown = m_connections.contains(name);
    *database = isKnown ? QSqlDatabase::database(name, false) : addSqlite(name, m_file);
    if (!isKnown)
        m_connections += name;
    if (database->isOpen())
        return Failure();
    return database->open() ? setUp(*database, "PRAGMA synchronous = FULL")
                            : sqliteFailure(*database);
}

// Also finds out, before SQLite does anything to it, whether the file may be one of SQLite's.
Failure SampleSpool::lock()
{
    m_lock = ::open(QFile::encodeName(m_file).constData(),
                    O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
    struct stat file;
    if (m_lock < 0 || fstat(m_lock, &file) != 0)
        return failure("open", qt_error_string(errno));
    if (!S_ISREG(file.st_mode))
        return failure("open", QLatin1String("expected a regular file"));
    QElapsedTimer clock;
    clock.start();
    while (flock(m_lock, LOCK_EX | LOCK_NB) != 0 && !clock.hasExpired(LOCK_MS))
        QThread::msleep(10);
    if (flock(m_lock, LOCK_EX | LOCK_NB) != 0)
        return failure("open", errno == EWOULDBLOCK
                                   ? QLatin1String("another process uses it; name another file")
                                   : qt_error_string(errno));
    char beginning[sizeof SQLITE_BEGINNING] = "";
    if (file.st_size > 0 && (pread(m_lock, beginning, sizeof beginning, 0) != sizeof beginning ||
                             memcmp(beginning, SQLITE_BEGINNING, sizeof beginning) != 0))
        return failure("open", QLatin1String(NO_SPOOL));
    return Failure();
}

// An empty file becomes a spool; another one of SQLite's stays as it is.
Failure SampleSpool::claim(QSqlDatabase &database, bool *isSpool)
{
    QVariant application;
    QVariant objects;
    Failure failure = ask(database, "PRAGMA application_id", &application);
    if (!failure)
        failure = ask(database, "SELECT COUNT(*) FROM sqlite_master", &objects);
    if (failure)
        return failure;
    const bool isEmpty = application.toInt() == 0 && objects.toInt() == 0;
    *isSpool = isEmpty || application.toInt() == APPLICATION_ID;
    return isEmpty ? makeSchema(database) : failure;
}

// In one transaction of a journal that goes back: a half-made file is empty again.
Failure SampleSpool::makeSchema(QSqlDatabase &database)
{
    if (!database.transaction())
        return sqliteFailure(database);
    Failure failure = execute(database, "CREATE TABLE samples "
                                        "(number INTEGER PRIMARY KEY, rows BLOB NOT NULL)");
    const QByteArray id = "PRAGMA application_id = " + QByteArray::number(APPLICATION_ID);
    if (!failure)
        failure = execute(database, id.constData());
    if (!failure && !database.commit())
        failure = sqliteFailure(database);
    return failure;
}

Failure SampleSpool::check(const QSqlDatabase &database)
{
    QVariant result;
    Failure failure = ask(database, "PRAGMA quick_check(1)", &result);
    if (!failure && result.toString() != QLatin1String("ok"))
        failure = Failure(StatusOpen, result.toString());
    return failure;
}

// Its reader and its writer then do not wait for each other.
Failure SampleSpool::useWal(const QSqlDatabase &database)
{
    QVariant mode;
    Failure failure = ask(database, "PRAGMA journal_mode = WAL", &mode);
    if (!failure && mode.toString() != QLatin1String("wal"))
        failure = Failure(StatusOpen, QLatin1String("its file system has no shared memory"));
    return failure;
}

Failure SampleSpool::loadCounts(QSqlDatabase &database)
{
    QSqlQuery query(database);
    Failure failure =
        execute(&query, "SELECT COUNT(*), TOTAL(LENGTH(rows)), MAX(number) FROM samples");
    if (!failure && query.next()) {
        m_counts.waiting = query.value(0).toLongLong();
        m_counts.bytes = query.value(1).toLongLong();
        m_last = query.value(2).toLongLong();
    }
    return failure;
}

Failure SampleSpool::append(const QByteArray &rows)
{
    const QMutexLocker locker(&m_mutex);
    QSqlDatabase database;
    Failure failure = connect(&database);
    if (!failure && !database.transaction())
        failure = sqliteFailure(database);
    SpoolCounts counts = m_counts;
    if (!failure)
        failure = store(database, rows, &counts);
    if (!failure && !database.commit())
        failure = sqliteFailure(database);
    if (failure) {
        static_cast<void>(database.rollback());
        return this->failure("write", failure.text());
    }
    m_counts = counts;
    ++m_last;
    m_hasMore.wakeAll();
    return failure;
}

Failure SampleSpool::store(QSqlDatabase &database, const QByteArray &rows, SpoolCounts *counts)
{
    Failure failure = makeRoom(database, rows.size(), counts);
    if (!failure)
        failure = reserve(database, rows.size());
    if (failure)
        return failure;
    ++counts->waiting;
    counts->bytes += rows.size();
    QSqlQuery query(database);
    return execute(&query, "INSERT INTO samples VALUES (?, ?)", {m_last + 1, rows});
}

// Gets the space for a sample, its way from FILE-wal into the file, and its removal before anything
// is written. A removal writes to FILE-wal: a spool that had filled the disk could never shrink.
Failure SampleSpool::reserve(QSqlDatabase &database, qint64 bytes)
{
    Failure failure = reserveWal(WAL_BYTES + 3 * bytes);
    QSqlQuery query(database);
    if (!failure)
        failure = execute(&query, "SELECT page_count, freelist_count, page_size FROM "
                                  "pragma_page_count, pragma_freelist_count, pragma_page_size");
    if (!failure && !query.next())
        failure = sqliteFailure(database);
    if (failure)
        return failure;
    const qint64 missing = bytes / PAYLOAD_BYTES + MORE_PAGES - query.value(1).toLongLong();
    const qint64 pageSize = query.value(2).toLongLong();
    return missing > 0
               ? allocate(m_lock, query.value(0).toLongLong() * pageSize, missing * pageSize)
               : failure;
}

// SQLite writes FILE-wal from its beginning again after a checkpoint, and leaves it its size.
Failure SampleSpool::reserveWal(qint64 bytes)
{
    if (bytes <= m_walBytes)
        return Failure();
    const QByteArray name = QFile::encodeName(m_file) + "-wal";
    const int wal = ::open(name.constData(), O_RDWR | O_CLOEXEC);
    if (wal < 0)
        return Failure(StatusOpen, qt_error_string(errno));
    Failure failure = allocate(wal, 0, bytes);
    close(wal);
    if (!failure)
        m_walBytes = bytes;
    return failure;
}

// What the reader has got may be taken already.
Failure SampleSpool::makeRoom(QSqlDatabase &database, qint64 bytes, SpoolCounts *counts)
{
    if (counts->bytes + bytes <= m_maxBytes)
        return Failure();
    QSqlQuery oldest(database);
    Failure failure = execute(&oldest,
                              "SELECT number, LENGTH(rows) FROM samples WHERE number > ? "
                              "ORDER BY number",
                              {m_given});
    qint64 last = 0;
    while (!failure && counts->bytes + bytes > m_maxBytes && oldest.next()) {
        last = oldest.value(0).toLongLong();
        counts->bytes -= oldest.value(1).toLongLong();
        --counts->waiting;
        ++counts->dropped;
    }
    oldest.finish();
    QSqlQuery query(database);
    return failure ? failure
                   : execute(&query, "DELETE FROM samples WHERE number > ? AND number <= ?",
                             {m_given, last});
}

void SampleSpool::wake()
{
    const QMutexLocker locker(&m_mutex);
    m_isWoken = true;
    m_hasMore.wakeAll();
}

SpoolCounts SampleSpool::counts() const
{
    const QMutexLocker locker(&m_mutex);
    return m_counts;
}

SpoolReader::SpoolReader(SampleSpool &spool)
    : m_spool(spool), m_database(addSqlite(connectionOf(this), spool.m_file))
{
    const QMutexLocker locker(&m_spool.m_mutex);
    m_spool.m_given = m_spool.m_counts.waiting == 0 ? m_spool.m_last : 0;
}

SpoolReader::~SpoolReader()
{
    m_database = QSqlDatabase();
    QSqlDatabase::removeDatabase(connectionOf(this));
}

// What a power failure brings back is only read twice: a removal does not wait for the disk.
Failure SpoolReader::open()
{
    return m_database.open() ? setUp(m_database, "PRAGMA synchronous = NORMAL")
                             : sqliteFailure(m_database);
}

Failure SpoolReader::next(qint64 maxBytes, int waitMs, QVector<SpooledSample> *samples)
{
    const QMutexLocker locker(&m_spool.m_mutex);
    samples->clear();
    if (m_spool.m_given == m_spool.m_last && !m_spool.m_isWoken)
        m_spool.m_hasMore.wait(&m_spool.m_mutex, static_cast<unsigned long>(waitMs));
    m_spool.m_isWoken = false;
    if (m_spool.m_given == m_spool.m_last)
        return Failure();
    Failure failure = m_database.isOpen() ? Failure() : open();
    QSqlQuery query(m_database);
    if (!failure)
        failure =
            execute(&query, "SELECT number, rows FROM samples WHERE number > ? ORDER BY number",
                    {m_spool.m_given});
    qint64 bytes = 0;
    while (!failure && bytes < maxBytes && query.next()) {
        const SpooledSample sample = {query.value(0).toLongLong(), query.value(1).toByteArray()};
        bytes += sample.rows.size();
        if (samples->isEmpty() || bytes <= maxBytes)
            samples->append(sample);
    }
    if (samples->isEmpty() && !failure)
        failure = Failure(StatusOpen, query.lastError().databaseText());
    if (!samples->isEmpty())
        m_spool.m_given = samples->last().number;
    return failure ? m_spool.failure("read", failure.text()) : failure;
}

Failure SpoolReader::take(qint64 number)
{
    const QMutexLocker locker(&m_spool.m_mutex);
    QSqlQuery query(m_database);
    Failure failure = execute(
        &query, "SELECT COUNT(*), TOTAL(LENGTH(rows)) FROM samples WHERE number <= ?", {number});
    if (!failure && query.next()) {
        const qint64 samples = query.value(0).toLongLong();
        const qint64 bytes = query.value(1).toLongLong();
        query.finish();
        failure = execute(&query, "DELETE FROM samples WHERE number <= ?", {number});
        m_spool.m_counts.waiting -= failure ? 0 : samples;
        m_spool.m_counts.bytes -= failure ? 0 : bytes;
    }
    return failure ? m_spool.failure("write", failure.text()) : failure;
}

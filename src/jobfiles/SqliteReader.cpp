#include "jobfiles/SqliteReader.h"

#include "fsutil/FileDescriptor.h"

#include <algorithm>
#include <fcntl.h>
#include <sqlite3.h>
#include <string_view>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace JobsManagerD {
namespace {

// Bounds on a database made to harm. All are far above any job that was ever recorded, since a database beyond them
// is not read at all. A row takes no more memory than the file is long, so that the first bounds both; but for a log
// that was forged to tell of a longer file, where columns and values do.
constexpr off_t longestDatabase = 128 * 1024 * 1024;
constexpr int longestValue = 4 * 1024 * 1024;
constexpr int mostColumns = 100;
constexpr int longestStatement = 256 * 1024;
// The same pages can stand in the file's trees again and again, so that its size does not bound the time.
constexpr int64_t timeForReading = 1'000'000'000;
// Of that. The definitions of the tables take many times their length in memory.
constexpr int64_t timeForDefinitions = 200'000'000;
constexpr int operationsBetweenChecks = 500;

/// Processor time is what counts: a slow card is no fault of the database.
int64_t ProcessorTime() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

int IsOutOfTime(void* deadline) { return ProcessorTime() > *static_cast<const int64_t*>(deadline); }

/// What a virtual table runs by itself is refused here, and so every such table that can be kept in a file.
int Authorize(void* tables, int action, const char* name, const char*, const char*, const char*) {
    const auto isNamed = [name](const std::string& table) { return sqlite3_stricmp(name, table.c_str()) == 0; };
    switch (action) {
    case SQLITE_SELECT:
    case SQLITE_TRANSACTION:
        return SQLITE_OK;
    case SQLITE_READ:
        return std::ranges::any_of(*static_cast<const std::vector<std::string>*>(tables), isNamed) ? SQLITE_OK
                                                                                                   : SQLITE_DENY;
    case SQLITE_PRAGMA:
        return sqlite3_stricmp(name, "table_xinfo") == 0 ? SQLITE_OK : SQLITE_DENY;
    default:
        return SQLITE_DENY;
    }
}

bool IsInWord(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

/// True for a definition with the word "AS" in it, which a computed column cannot do without.
bool MayComputeColumn(std::string_view sql) {
    for (size_t i = 1; i + 2 < sql.size(); ++i)
        if ((sql[i] | 0x20) == 'a' && (sql[i + 1] | 0x20) == 's' && !IsInWord(sql[i - 1]) && !IsInWord(sql[i + 2]))
            return true;
    return false;
}

/// What lies in the place of a file that SQLite would open: a pipe could stall it, and a link may lead off the card.
struct Place {
    explicit Place(const std::string& path) {
        struct stat64 status {};
        exists = lstat64(path.c_str(), &status) == 0;
        isFile = exists && S_ISREG(status.st_mode);
        size = exists ? status.st_size : 0;
    }
    bool exists;
    bool isFile;
    off_t size;
};

bool HasWriteAheadLog(const std::string& path) {
    constexpr off_t placeOfReadVersion = 19;
    constexpr char writeAheadLog = 2;
    const FileDescriptor file(OpenWithoutWaiting(path, O_RDONLY));
    char version = 0;
    return pread(file.Get(), &version, 1, placeOfReadVersion) == 1 && version == writeAheadLog;
}

/// The name that tells SQLite to take the file as it is, without looking for side files or making them.
std::string ImmutableName(const std::string& path) {
    std::string name = "file:";
    for (const char c : path) {
        switch (c) {
        case '%':
            name += "%25";
            break;
        case '?':
            name += "%3f";
            break;
        case '#':
            name += "%23";
            break;
        default:
            name += c;
        }
    }
    return name + "?immutable=1";
}

int OpenImmutable(const std::string& path, sqlite3** database) {
    return sqlite3_open_v2(ImmutableName(path).c_str(), database, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
}

/// What stands in a write-ahead log belongs to the job. SQLite keeps the log's index in memory, instead of in a file
/// beside the database, for a connection that has the database for itself; a reader can say so where nothing is locked.
/// The log is not merged at the end.
int OpenWithLog(const std::string& path, sqlite3** database) {
    const int result = sqlite3_open_v2(path.c_str(), database, SQLITE_OPEN_READONLY, "unix-none");
    if (result != SQLITE_OK)
        return result;
    sqlite3_db_config(*database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    return sqlite3_exec(*database, "PRAGMA locking_mode=EXCLUSIVE", nullptr, nullptr, nullptr);
}

int OpenReadOnly(const std::string& path, sqlite3** database) {
    const Place file(path);
    const Place log(path + "-wal");
    const Place journal(path + "-journal");
    const auto isInTheWay = [](const Place& place) { return place.exists && !place.isFile; };
    if (isInTheWay(file) || isInTheWay(log) || isInTheWay(journal))
        return SQLITE_CANTOPEN;
    if (file.size + log.size > longestDatabase)
        return SQLITE_TOOBIG;
    // SQLite would remove what lies beside an empty file.
    if (file.isFile && file.size == 0)
        return OpenImmutable(path, database);
    if (log.exists)
        return OpenWithLog(path, database);
    return HasWriteAheadLog(path) ? OpenImmutable(path, database)
                                  : sqlite3_open_v2(path.c_str(), database, SQLITE_OPEN_READONLY, nullptr);
}

} // namespace

// The statement -------------------------------------------------------------------------------------------------------

void SqliteStatement::FinalizeStatement::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

int SqliteStatement::Reset() { return sqlite3_reset(_statement.get()); }

int SqliteStatement::Step() { return sqlite3_step(_statement.get()); }

int SqliteStatement::Bind(int parameter, int32_t value) { return sqlite3_bind_int(_statement.get(), parameter, value); }

int SqliteStatement::Finalize() { return sqlite3_finalize(_statement.release()); }

int SqliteStatement::ColumnCount() const { return sqlite3_data_count(_statement.get()); }

const char* SqliteStatement::ColumnName(int column) const { return sqlite3_column_name(_statement.get(), column); }

const char* SqliteStatement::Text(int column) const {
    return reinterpret_cast<const char*>(sqlite3_column_text(_statement.get(), column));
}

int32_t SqliteStatement::Int(int column) const { return sqlite3_column_int(_statement.get(), column); }

int64_t SqliteStatement::Int64(int column) const { return sqlite3_column_int64(_statement.get(), column); }

double SqliteStatement::Double(int column) const { return sqlite3_column_double(_statement.get(), column); }

std::span<const uint8_t> SqliteStatement::Bytes(int column) const {
    const int size = sqlite3_column_bytes(_statement.get(), column);
    return {static_cast<const uint8_t*>(sqlite3_column_blob(_statement.get(), column)), static_cast<size_t>(size)};
}

// The connection ------------------------------------------------------------------------------------------------------

void SqliteReader::CloseDatabase::operator()(sqlite3* database) const { sqlite3_close(database); }

int SqliteReader::Open(const std::string& path) {
    sqlite3* database = nullptr;
    const int result = OpenReadOnly(path, &database);
    _database.reset(database);
    if (result == SQLITE_OK) {
        _Restrict();
        return SQLITE_OK;
    }
    _error = database ? sqlite3_errmsg(database) : sqlite3_errstr(result);
    _database.reset();
    return result;
}

void SqliteReader::_Restrict() {
    sqlite3* const database = _database.get();
    // A view can be given a table's name and an endless query.
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_limit(database, SQLITE_LIMIT_LENGTH, longestValue);
    sqlite3_limit(database, SQLITE_LIMIT_COLUMN, mostColumns);
    sqlite3_limit(database, SQLITE_LIMIT_SQL_LENGTH, longestStatement);
    sqlite3_set_authorizer(database, Authorize, &_tables);
    const int64_t now = ProcessorTime();
    _endOfReading = now + timeForReading;
    _deadline = now + timeForDefinitions;
    sqlite3_progress_handler(database, operationsBetweenChecks, IsOutOfTime, &_deadline);
}

int SqliteReader::Close() {
    const int code = sqlite3_close(_database.get());
    if (code == SQLITE_OK)
        std::ignore = _database.release();
    return code;
}

/// The first time, SQLite reads the definitions of all tables.
int SqliteReader::Prepare(const char* sql, const char* table, SqliteStatement& statement) {
    _error.clear();
    _tables.emplace_back(table);
    int result = _Prepare(sql, statement);
    if (result == SQLITE_OK)
        result = _RefuseComputedColumns(table);
    _deadline = _endOfReading;
    return result;
}

int SqliteReader::_Prepare(const std::string& sql, SqliteStatement& statement) {
    const int lengthWithEnd = static_cast<int>(sql.size()) + 1;
    sqlite3_stmt* prepared = nullptr;
    const int result = sqlite3_prepare_v2(_database.get(), sql.c_str(), lengthWithEnd, &prepared, nullptr);
    statement = SqliteStatement(prepared);
    return result;
}

/// Asking SQLite about each table would take a third of the time that a summary takes.
int SqliteReader::_LookForComputedColumns() {
    SqliteStatement definitions;
    int result = _Prepare("SELECT sql FROM sqlite_master", definitions);
    while (result == SQLITE_OK || result == SQLITE_ROW) {
        result = definitions.Step();
        const char* const sql = result == SQLITE_ROW ? definitions.Text(0) : nullptr;
        _mayComputeColumns = _mayComputeColumns || (sql && MayComputeColumn(sql));
    }
    _isLookedThrough = result == SQLITE_DONE;
    return _isLookedThrough ? SQLITE_OK : result;
}

/// A column can be computed at each reading, by functions that take the square of a text's length, and that no deadline
/// interrupts. The earlier generation had none.
int SqliteReader::_RefuseComputedColumns(const std::string& table) {
    if (!_isLookedThrough)
        if (const int result = _LookForComputedColumns(); result != SQLITE_OK)
            return result;
    if (!_mayComputeColumns)
        return SQLITE_OK;

    constexpr int nameColumn = 1;
    constexpr int hiddenColumn = 6;
    SqliteStatement columns;
    int result = _Prepare("PRAGMA table_xinfo(" + table + ")", columns);
    while (result == SQLITE_OK || result == SQLITE_ROW) {
        result = columns.Step();
        if (result == SQLITE_ROW && columns.Int(hiddenColumn) != 0) {
            _error = std::string("column ") + columns.Text(nameColumn) + " is computed";
            return SQLITE_AUTH;
        }
    }
    return result == SQLITE_DONE ? SQLITE_OK : result;
}

int SqliteReader::Run(const char* command) { return sqlite3_exec(_database.get(), command, nullptr, nullptr, nullptr); }

std::string SqliteReader::ErrorText() const { return _error.empty() ? sqlite3_errmsg(_database.get()) : _error; }

bool SqliteReader::IsRefusal(int code) {
    return code == SQLITE_TOOBIG || code == SQLITE_INTERRUPT || code == SQLITE_NOMEM;
}

} // namespace JobsManagerD

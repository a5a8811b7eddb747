#include "jobfiles/SqliteReader.h"

#include "fsutil/FileDescriptor.h"

#include <cstring>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace JobsManagerD {
namespace {

// Far above any job that was ever recorded. A database made to harm can name the same page again and again, so that its
// size bounds neither.
// A column can be computed, by functions that no check interrupts and that take the square of a text's length: so rows
// are kept short, and checks frequent.
constexpr int longestRow = 256 * 1024;
constexpr time_t mostSeconds = 2;
constexpr int operationsBetweenChecks = 100;

/// Stops a statement that has taken its time: of the processor, since a slow card is no fault of the database.
int IsOutOfTime(void* start) {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec - *static_cast<const time_t*>(start) > mostSeconds;
}

bool IsFileOrNothing(const std::string& path) {
    struct stat64 status {};
    return stat64(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

/// False when something in the place of one of the files that SQLite would open, a pipe say, could stall it.
bool CanBeOpened(const std::string& path) {
    return IsFileOrNothing(path) && IsFileOrNothing(path + "-journal") && IsFileOrNothing(path + "-wal");
}

/// A database with a write-ahead log, and the log merged into it.
bool IsMergedLogDatabase(const std::string& path) {
    constexpr off_t placeOfReadVersion = 19;
    constexpr char writeAheadLog = 2;
    const FileDescriptor file(OpenWithoutWaiting(path, O_RDONLY));
    char version = 0;
    const bool hasLog = pread(file.Get(), &version, 1, placeOfReadVersion) == 1 && version == writeAheadLog;
    return hasLog && access((path + "-wal").c_str(), F_OK) != 0;
}

/// The name that tells SQLite to take the file as it is, without the side files that a log needs even for reading.
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

int OpenReadOnly(const std::string& path, sqlite3** database) {
    if (!CanBeOpened(path))
        return SQLITE_CANTOPEN;
    if (IsMergedLogDatabase(path))
        return sqlite3_open_v2(ImmutableName(path).c_str(), database, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    return sqlite3_open_v2(path.c_str(), database, SQLITE_OPEN_READONLY, nullptr);
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
    _openError = database ? sqlite3_errmsg(database) : sqlite3_errstr(result);
    _database.reset();
    return result;
}

/// A view can be given a table's name and an endless query; nothing that a job is read from is one.
void SqliteReader::_Restrict() {
    sqlite3_db_config(_database.get(), SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_db_config(_database.get(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_limit(_database.get(), SQLITE_LIMIT_LENGTH, longestRow);
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    _startSecond = now.tv_sec;
    sqlite3_progress_handler(_database.get(), operationsBetweenChecks, IsOutOfTime, &_startSecond);
}

int SqliteReader::Close() {
    const int code = sqlite3_close(_database.get());
    if (code == SQLITE_OK)
        std::ignore = _database.release();
    return code;
}

int SqliteReader::Prepare(const char* sql, SqliteStatement& statement) {
    const int lengthWithEnd = static_cast<int>(std::strlen(sql)) + 1;
    sqlite3_stmt* prepared = nullptr;
    const int result = sqlite3_prepare_v2(_database.get(), sql, lengthWithEnd, &prepared, nullptr);
    statement = SqliteStatement(prepared);
    return result;
}

int SqliteReader::Run(const char* command) { return sqlite3_exec(_database.get(), command, nullptr, nullptr, nullptr); }

std::string SqliteReader::ErrorText() const { return _database ? sqlite3_errmsg(_database.get()) : _openError; }

} // namespace JobsManagerD

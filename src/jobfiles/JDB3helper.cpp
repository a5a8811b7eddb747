#include "jobfiles/JDB3helper.h"

#include <algorithm>
#include <sqlite3.h>
#include <syslog.h>
#include <utility>

namespace JobsManagerD {
namespace {

/// Of the records and their texts: far above any job that was ever recorded.
constexpr size_t mostBytes = 64 * 1024 * 1024;

} // namespace

JDB3helper::JDB3helper(std::string path) : _path(std::move(path)) {
    for (const auto& [key, sql, table] : jdb3StatementTexts)
        _statements.push_back({key, sql, table, SqliteStatement()});
}

JDB3helper::~JDB3helper() = default;

// Opening and closing -------------------------------------------------------------------------------------------------

bool JDB3helper::Open() {
    if (_database.Open(_path) == SQLITE_OK)
        return true;
    syslog(LOG_ERR, "JDB3helper::Open - Failed to open database %s: %s", _path.c_str(), _database.ErrorText().c_str());
    return false;
}

bool JDB3helper::Close() {
    if (!_database) {
        syslog(LOG_ERR, "JDB3helper::Close - Invalid handle");
        return false;
    }
    _Finalize();
    const int code = _database.Close();
    if (code != SQLITE_OK)
        syslog(LOG_ERR, "JDB3helper::Close - Error code %i attempting to close database connection", code);
    return code == SQLITE_OK;
}

void JDB3helper::_Finalize() {
    for (JDB3Statement& statement : _statements) {
        if (!statement.prepared)
            continue;
        const int code = statement.prepared.Finalize();
        if (code != SQLITE_OK)
            syslog(LOG_ERR, "JDB3helper::_Finalize - Error code %i attempting to finalize statement idx %i, cmd %s",
                   code, statement.key, statement.sql);
    }
}

// Statements ----------------------------------------------------------------------------------------------------------

JDB3helper::JDB3Statement* JDB3helper::_FindStatement(int32_t key) {
    const auto found = std::ranges::find(_statements, key, &JDB3Statement::key);
    return found == _statements.end() ? nullptr : &*found;
}

bool JDB3helper::_PrepareStatement(int32_t key) {
    if (!_database) {
        syslog(LOG_ERR, "JDB3helper::_PrepareStatement - Failed: Job database not open");
        return false;
    }
    JDB3Statement* const statement = _FindStatement(key);
    if (!statement) {
        syslog(LOG_ERR, "JDB3helper::_PrepareStatement - Failed: Statement not found, %i", key);
        return false;
    }
    if (_database.Prepare(statement->sql, statement->table, statement->prepared) == SQLITE_OK)
        return true;
    syslog(LOG_ERR, "JDB3helper::_PrepareStatement - Error preparing statement %s : %s", statement->sql,
           _database.ErrorText().c_str());
    return false;
}

bool JDB3helper::_PrepareStatements(const char* method, std::initializer_list<int32_t> keys) {
    if (!_database) {
        syslog(LOG_ERR, "JDB3helper::%s - Failed: Job database not open", method);
        return false;
    }
    if (std::ranges::all_of(keys, [this](int32_t key) { return _PrepareStatement(key); }))
        return true;
    syslog(LOG_ERR, "JDB3helper::%s - Failed", method);
    return false;
}

bool JDB3helper::_PrepareSummaryStatements() {
    return _PrepareStatements("_PrepareSummaryStatements", {JOB_INFO, JOBS, BOOKMARK_TYPES, LOCATION});
}

bool JDB3helper::_PrepareJobStatements() {
    return _PrepareStatements("_PrepareJobStatements",
                              {JOB_INFO, JOBS, ADDRESS_LINKS, ADDRESSES, BOOKMARKS, CONTACTS, SEGMENTS});
}

bool JDB3helper::ExecuteStatement(int32_t key) {
    if (!_database) {
        syslog(LOG_ERR, "JDB3helper::ExecuteStatement - Failed: Job database not open");
        return false;
    }
    JDB3Statement* const statement = _FindStatement(key);
    if (!statement) {
        syslog(LOG_ERR, "JDB3helper::_ExecuteStatement - Failed: Statement not found, %i", key);
        return false;
    }
    if (!statement->prepared) {
        syslog(LOG_ERR, "JDB3helper::ExecuteStatement - Failed: Statement not prepared, %i", key);
        return false;
    }
    if (statement->prepared.Reset() != SQLITE_OK) {
        syslog(LOG_ERR, "JDB3helper::ExecuteStatement - Failed: sqlite3_reset returned error, %i", key);
        return false;
    }
    const int result = statement->prepared.Step();
    if (result == SQLITE_DONE)
        return true;
    if (result != SQLITE_ROW) {
        syslog(LOG_ERR, "JDB3helper::ExecuteStatement - Failed: Step %d, error %s", result,
               _database.ErrorText().c_str());
        return false;
    }
    return _ReadRows(*statement);
}

/// From the first row on. A bound of our own must not end a table as if that were all: a job that is converted in part
/// is hidden from then on.
bool JDB3helper::_ReadRows(JDB3Statement& statement) {
    _tables._RecordColumnNames(statement.prepared);
    if (!_Execute("BEGIN TRANSACTION"))
        return false;
    int result = SQLITE_ROW;
    while (result == SQLITE_ROW && _tables._ParseRecordRow(statement.key, statement.prepared))
        result = _tables.BytesRead() > mostBytes ? SQLITE_TOOBIG : statement.prepared.Step();
    const bool isRefused = SqliteReader::IsRefusal(result);
    if (isRefused)
        syslog(LOG_ERR, "JDB3helper::ExecuteStatement - Failed: Step %d, error %s", result, sqlite3_errstr(result));
    return _Execute("END TRANSACTION") && !isRefused;
}

bool JDB3helper::_Execute(const char* command) {
    try {
        if (_database.Run(command) == SQLITE_OK)
            return true;
        syslog(LOG_ERR, "JDB3helper::ExecuteStatement - exec(%s) return != SQLITE_OK", command);
    } catch (...) {
        syslog(LOG_ERR, "JDB3helper::ExecuteStatement - exec(%s) Exception", command);
    }
    return false;
}

bool JDB3helper::ExecuteStatements(std::initializer_list<int32_t> keys) {
    return std::ranges::all_of(keys, [this](int32_t key) { return ExecuteStatement(key); });
}

bool JDB3helper::ExtractJobSummaryFields() {
    for (int32_t JDB3JobFields::*counter :
         {&JDB3JobFields::nAudioImage, &JDB3JobFields::nAutolog, &JDB3JobFields::nImage, &JDB3JobFields::nVideo})
        _tables.Fields().*counter = 0;
    if (!_PrepareSummaryStatements()) {
        syslog(LOG_ERR, "JDB3helper::ExtractJobSummaryFields - Failed to prepare summary statements");
        return false;
    }
    if (!ExecuteStatements({JOB_INFO, JOBS, BOOKMARK_TYPES})) {
        syslog(LOG_ERR, "JDB3helper::ExtractJobSummaryFields - Failed to extract summary data from database");
        return false;
    }
    JDB3Statement* const location = _FindStatement(LOCATION);
    if (!location) {
        syslog(LOG_ERR, "JDB3helper::ExtractJobSummaryFields - Failed: Job location statement not found, %i", LOCATION);
        return false;
    }
    if (location->prepared.Bind(1, Fields().LocationId) != SQLITE_OK) {
        syslog(LOG_ERR, "JDB3helper::ExtractJobSummaryFields - Failed to bind job location id to LOCATION statement");
        return false;
    }
    if (!ExecuteStatement(LOCATION)) {
        syslog(LOG_ERR, "JDB3helper::ExtractJobSummaryFields - Failed to extract job location from database");
        return false;
    }
    return true;
}

bool JDB3helper::ExtractJobFields() {
    if (!_PrepareJobStatements()) {
        syslog(LOG_ERR, "JDB3helper::ExtractJobFields - Failed to prepare job statements");
        return false;
    }
    if (!ExecuteStatements({JOB_INFO, JOBS, ADDRESS_LINKS, ADDRESSES, BOOKMARKS, CONTACTS, SEGMENTS})) {
        syslog(LOG_ERR, "JDB3helper::ExtractJobFields - Failed to extract job data from database");
        return false;
    }
    return true;
}

} // namespace JobsManagerD

#include "jobfiles/JDB3helper.h"

#include "fsutil/FileDescriptor.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <sqlite3.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>
#include <utility>

namespace JobsManagerD {
namespace {

enum StatementKey : int32_t {
    JOB_INFO = 0,
    JOBS = 1,
    BOOKMARK_TYPES = 2,
    LOCATION = 3,
    ADDRESS_LINKS = 4,
    ADDRESSES = 5,
    BOOKMARKS = 6,
    CONTACTS = 7,
    SEGMENTS = 8,
};

constexpr std::pair<int32_t, const char*> statementTexts[] = {
    {JOB_INFO, "SELECT * from JobInfo"},
    {JOBS, "SELECT * from Jobs"},
    {BOOKMARK_TYPES, "SELECT Type from Bookmarks"},
    {LOCATION, "SELECT Latitude, Longitude FROM Addresses WHERE Id = ?"},
    {ADDRESS_LINKS, "SELECT * from AddressLinks"},
    {ADDRESSES, "SELECT * from Addresses"},
    {BOOKMARKS, "SELECT * from Bookmarks"},
    {CONTACTS, "SELECT * from Contacts"},
    {SEGMENTS, "SELECT * from Segments"},
};

/// A column behind these cannot be found by name.
constexpr int mostColumns = 50;
constexpr int uuidSize = 16;

// Far above any job that was ever recorded. A database made to harm can name the same page again and again, so that its
// size bounds neither.
// A column can be computed, by functions that no check interrupts and that take the square of a text's length: so rows
// are kept short, and checks frequent.
constexpr int longestRow = 256 * 1024;
constexpr size_t mostBytes = 64 * 1024 * 1024;
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

const char* TextOf(sqlite3_stmt* row, int column) {
    return reinterpret_cast<const char*>(sqlite3_column_text(row, column));
}

/// The first three groups lie in the blob with their least byte first.
std::string UuidText(const uint8_t* bytes) {
    constexpr const char* digits = "0123456789abcdef";
    constexpr size_t order[uuidSize] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    std::string text;
    for (const size_t place : order) {
        text += digits[bytes[place] >> 4];
        text += digits[bytes[place] & 0xf];
        if (text.size() == 8 || text.size() == 13 || text.size() == 18 || text.size() == 23)
            text += '-';
    }
    return text;
}

} // namespace

/// A column, and the member that it fills.
template <typename Record>
struct JDB3helper::Column {
    template <typename Value>
    Column(const char* columnName, bool (JDB3helper::*get)(sqlite3_stmt*, const char*, Value&), Value Record::*member)
        : name(columnName), read([get, member](JDB3helper& helper, sqlite3_stmt* row, const char* readName,
                                               Record& record) { (helper.*get)(row, readName, record.*member); }) {}

    const char* name;
    std::function<void(JDB3helper&, sqlite3_stmt*, const char*, Record&)> read;
};

struct JDB3helper::Columns {
    using Job = JDB3JobFields;
    using Bookmark = JDB3Bookmark;
    using Segment = JDB3Segment;
    using Contact = JDB3Contact;
    using Address = JDB3Address;
    using Link = JDB3AddressLink;
    using H = JDB3helper;

    static inline const std::vector<Column<Job>> jobInfo{
        {"JobSize", &H::GetInt64, &Job::JobSize},
        {"DateLastCalculated", &H::GetDate, &Job::DateLastCalculated},
        {"JobLocked", &H::GetInt, &Job::JobLocked},
    };
    static inline const std::vector<Column<Job>> job{
        {"UniqueId", &H::GetUuid, &Job::UniqueId},
        {"Name", &H::GetString, &Job::Name},
        {"ReasonForCall", &H::GetString, &Job::ReasonForCall},
        {"Description", &H::GetString, &Job::Description},
        {"PrivateNote", &H::GetString, &Job::PrivateNote},
        {"Source", &H::GetString, &Job::Source},
        {"Serial", &H::GetString, &Job::Serial},
        {"Version", &H::GetString, &Job::Version},
        {"StartTime", &H::GetDate, &Job::StartTime},
        {"LastModifiedTime", &H::GetDate, &Job::LastModifiedTime},
        {"CustomerId", &H::GetInt, &Job::CustomerId},
        {"InspectorId", &H::GetInt, &Job::InspectorId},
        {"LocationId", &H::GetInt, &Job::LocationId},
    };
    static inline const std::vector<Column<Job>> location{
        {"Latitude", &H::GetDouble, &Job::Latitude},
        {"Longitude", &H::GetDouble, &Job::Longitude},
    };
    static inline const std::vector<Column<Bookmark>> bookmark{
        {"Id", &H::GetInt, &Bookmark::Id},
        {"SegmentId", &H::GetInt, &Bookmark::SegmentId},
        {"UniqueId", &H::GetUuid, &Bookmark::UniqueId},
        {"Type", &H::GetString, &Bookmark::Type},
        {"Timestamp", &H::GetDate, &Bookmark::Timestamp},
        {"IsSelected", &H::GetInt, &Bookmark::IsSelected},
        {"Note", &H::GetString, &Bookmark::Note},
        {"PrivateNote", &H::GetString, &Bookmark::PrivateNote},
        {"VideoPath", &H::GetString, &Bookmark::VideoPath},
        {"ImagePath", &H::GetString, &Bookmark::ImagePath},
        {"AudioPath", &H::GetString, &Bookmark::AudioPath},
        {"DataPath", &H::GetString, &Bookmark::DataPath},
    };
    static inline const std::vector<Column<Segment>> segment{
        {"Id", &H::GetInt, &Segment::Id},
        {"RelativePath", &H::GetString, &Segment::RelativePath},
        {"Purpose", &H::GetString, &Segment::Purpose},
        {"Quote", &H::GetString, &Segment::Quote},
        {"Action", &H::GetString, &Segment::Action},
        {"Summary", &H::GetString, &Segment::Summary},
        {"ReasonForCall", &H::GetString, &Segment::ReasonForCall},
        {"Description", &H::GetString, &Segment::Description},
        {"PrivateNote", &H::GetString, &Segment::PrivateNote},
        {"Source", &H::GetString, &Segment::Source},
    };
    static inline const std::vector<Column<Contact>> contact{
        {"Id", &H::GetInt, &Contact::Id},
        {"Title", &H::GetString, &Contact::Title},
        {"FirstName", &H::GetString, &Contact::FirstName},
        {"LastName", &H::GetString, &Contact::LastName},
        {"Company", &H::GetString, &Contact::Company},
        {"EmailAddress", &H::GetString, &Contact::EmailAddress},
        {"WebAddress", &H::GetString, &Contact::WebAddress},
        {"HomeNumber", &H::GetString, &Contact::HomeNumber},
        {"BusinessNumber", &H::GetString, &Contact::BusinessNumber},
        {"MobileNumber", &H::GetString, &Contact::MobileNumber},
        {"FaxNumber", &H::GetString, &Contact::FaxNumber},
    };
    static inline const std::vector<Column<Address>> address{
        {"Id", &H::GetInt, &Address::Id},
        {"ContactId", &H::GetInt, &Address::ContactId},
        {"AddressType", &H::GetString, &Address::AddressType},
        {"Street", &H::GetString, &Address::Street},
        {"City", &H::GetString, &Address::City},
        {"State", &H::GetString, &Address::State},
        {"PostalCode", &H::GetString, &Address::PostalCode},
        {"Country", &H::GetString, &Address::Country},
        {"Latitude", &H::GetDouble, &Address::Latitude},
        {"Longitude", &H::GetDouble, &Address::Longitude},
    };
    static inline const std::vector<Column<Link>> addressLink{
        {"AddressId", &H::GetInt, &Link::AddressId},
        {"ContactId", &H::GetInt, &Link::ContactId},
    };
};

void JDB3helper::CloseDatabase::operator()(sqlite3* database) const { sqlite3_close(database); }

void JDB3helper::FinalizeStatement::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

JDB3helper::JDB3helper(std::string path) : _path(std::move(path)) {
    for (const auto& [key, sql] : statementTexts)
        _statements.push_back({key, sql, nullptr});
}

JDB3helper::~JDB3helper() = default;

// Opening and closing -------------------------------------------------------------------------------------------------

bool JDB3helper::Open() {
    sqlite3* database = nullptr;
    const int result = OpenReadOnly(_path, &database);
    _database.reset(database);
    if (result == SQLITE_OK) {
        _Restrict();
        return true;
    }
    syslog(LOG_ERR, "JDB3helper::Open - Failed to open database %s: %s", _path.c_str(),
           database ? sqlite3_errmsg(database) : sqlite3_errstr(result));
    _database.reset();
    return false;
}

/// A view can be given a table's name and an endless query; nothing that a job is read from is one.
void JDB3helper::_Restrict() {
    sqlite3_db_config(_database.get(), SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_db_config(_database.get(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_limit(_database.get(), SQLITE_LIMIT_LENGTH, longestRow);
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    _startSecond = now.tv_sec;
    sqlite3_progress_handler(_database.get(), operationsBetweenChecks, IsOutOfTime, &_startSecond);
}

bool JDB3helper::Close() {
    if (!_database) {
        syslog(LOG_ERR, "JDB3helper::Close - Invalid handle");
        return false;
    }
    _Finalize();
    const int code = sqlite3_close(_database.get());
    if (code != SQLITE_OK) {
        syslog(LOG_ERR, "JDB3helper::Close - Error code %i attempting to close database connection", code);
        return false;
    }
    std::ignore = _database.release();
    return true;
}

void JDB3helper::_Finalize() {
    for (JDB3Statement& statement : _statements) {
        if (!statement.prepared)
            continue;
        const int code = sqlite3_finalize(statement.prepared.release());
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
    statement->prepared.reset();
    const int lengthWithEnd = static_cast<int>(std::strlen(statement->sql)) + 1;
    sqlite3_stmt* prepared = nullptr;
    const int result = sqlite3_prepare_v2(_database.get(), statement->sql, lengthWithEnd, &prepared, nullptr);
    statement->prepared.reset(prepared);
    if (result == SQLITE_OK)
        return true;
    syslog(LOG_ERR, "JDB3helper::_PrepareStatement - Error preparing statement %s : %s", statement->sql,
           sqlite3_errmsg(_database.get()));
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
    const JDB3Statement* const statement = _FindStatement(key);
    if (!statement) {
        syslog(LOG_ERR, "JDB3helper::_ExecuteStatement - Failed: Statement not found, %i", key);
        return false;
    }
    if (!statement->prepared) {
        syslog(LOG_ERR, "JDB3helper::ExecuteStatement - Failed: Statement not prepared, %i", key);
        return false;
    }
    if (sqlite3_reset(statement->prepared.get()) != SQLITE_OK) {
        syslog(LOG_ERR, "JDB3helper::ExecuteStatement - Failed: sqlite3_reset returned error, %i", key);
        return false;
    }
    const int result = sqlite3_step(statement->prepared.get());
    if (result == SQLITE_DONE)
        return true;
    if (result != SQLITE_ROW) {
        syslog(LOG_ERR, "JDB3helper::ExecuteStatement - Failed: Step %d, error %s", result,
               sqlite3_errmsg(_database.get()));
        return false;
    }
    return _ReadRows(*statement);
}

/// From the first row on. Rows behind one that cannot be read are left out without a word.
bool JDB3helper::_ReadRows(const JDB3Statement& statement) {
    _RecordColumnNames(statement.prepared.get());
    if (!_Execute("BEGIN TRANSACTION"))
        return false;
    while (_ParseRecordRow(statement) && _bytesRead < mostBytes && sqlite3_step(statement.prepared.get()) == SQLITE_ROW)
        continue;
    return _Execute("END TRANSACTION");
}

bool JDB3helper::_Execute(const char* command) {
    try {
        if (sqlite3_exec(_database.get(), command, nullptr, nullptr, nullptr) == SQLITE_OK)
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
        _fields.*counter = 0;
    if (!_PrepareSummaryStatements()) {
        syslog(LOG_ERR, "JDB3helper::ExtractJobSummaryFields - Failed to prepare summary statements");
        return false;
    }
    if (!ExecuteStatements({JOB_INFO, JOBS, BOOKMARK_TYPES})) {
        syslog(LOG_ERR, "JDB3helper::ExtractJobSummaryFields - Failed to extract summary data from database");
        return false;
    }
    const JDB3Statement* const location = _FindStatement(LOCATION);
    if (!location) {
        syslog(LOG_ERR, "JDB3helper::ExtractJobSummaryFields - Failed: Job location statement not found, %i", LOCATION);
        return false;
    }
    if (sqlite3_bind_int(location->prepared.get(), 1, _fields.LocationId) != SQLITE_OK) {
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

// Rows ----------------------------------------------------------------------------------------------------------------

void JDB3helper::_RecordColumnNames(sqlite3_stmt* statement) {
    _columnNames.clear();
    if (!statement) {
        syslog(LOG_ERR, "JDB3helper::_RecordColumnNames - Invalid statement");
        return;
    }
    const int count = std::min(sqlite3_data_count(statement), mostColumns);
    for (int column = 0; column < count; ++column)
        _columnNames.emplace_back(sqlite3_column_name(statement, column));
}

bool JDB3helper::_ParseRecordRow(const JDB3Statement& statement) {
    sqlite3_stmt* const row = statement.prepared.get();
    switch (statement.key) {
    case JOB_INFO:
        _ReadColumns(row, Columns::jobInfo, _fields);
        return true;
    case JOBS:
        _ReadColumns(row, Columns::job, _fields);
        return true;
    case BOOKMARK_TYPES:
        _CountBookmark(row);
        return true;
    case LOCATION:
        _ReadColumns(row, Columns::location, _fields);
        return true;
    case ADDRESS_LINKS:
        _AppendRecord(row, Columns::addressLink, _fields.addressLinks);
        return true;
    case ADDRESSES:
        _AppendRecord(row, Columns::address, _fields.addresses);
        return true;
    case BOOKMARKS:
        _AppendRecord(row, Columns::bookmark, _fields.bookmarks);
        return true;
    case CONTACTS:
        _AppendRecord(row, Columns::contact, _fields.contacts);
        return true;
    case SEGMENTS:
        _AppendRecord(row, Columns::segment, _fields.segments);
        return true;
    default:
        syslog(LOG_ERR, "JDB3helper::_ParseRecordRow - Invalid statement index: %i", statement.key);
        return false;
    }
}

void JDB3helper::_CountBookmark(sqlite3_stmt* row) {
    static constexpr std::pair<std::string_view, int32_t JDB3JobFields::*> counters[] = {
        {"AUDIOIMAGE", &JDB3JobFields::nAudioImage},
        {"AUTOLOG", &JDB3JobFields::nAutolog},
        {"IMAGE", &JDB3JobFields::nImage},
        {"VIDEO", &JDB3JobFields::nVideo},
    };
    const char* const text = TextOf(row, 0);
    const std::string_view type = text ? text : "";
    for (const auto& [name, counter] : counters)
        if (type == name)
            ++(_fields.*counter);
}

/// A column that is missing leaves its member as it was.
template <typename Record>
void JDB3helper::_ReadColumns(sqlite3_stmt* row, const std::vector<Column<Record>>& columns, Record& record) {
    for (const Column<Record>& column : columns)
        column.read(*this, row, column.name, record);
}

template <typename Record>
void JDB3helper::_AppendRecord(sqlite3_stmt* row, const std::vector<Column<Record>>& columns,
                               std::vector<Record>& records) {
    Record record;
    _ReadColumns(row, columns, record);
    records.push_back(std::move(record));
    _bytesRead += sizeof record;
}

// Getters. Some of their lines name another getter; readers of the log know them so. ----------------------------------

int JDB3helper::_GetFieldColumnIndex(const char* name) const {
    const auto found = std::ranges::find(_columnNames, name);
    if (found != _columnNames.end())
        return static_cast<int>(found - _columnNames.begin());
    syslog(LOG_ERR, "JDB3helper::_GetFieldColumnIndex - fieldName %s not found", name);
    return -1;
}

int JDB3helper::_FindColumn(sqlite3_stmt* row, const char* name, const char* getterOfStatementLine,
                            const char* getterOfFieldLine, const char* ending) const {
    if (!row) {
        syslog(LOG_ERR, "JDB3helper::%s - Invalid statement", getterOfStatementLine);
        return -1;
    }
    const int column = _GetFieldColumnIndex(name);
    if (column < 0)
        syslog(LOG_ERR, "JDB3helper::%s - Field not found: %s%s", getterOfFieldLine, name, ending);
    return column;
}

bool JDB3helper::GetDate(sqlite3_stmt* row, const char* name, std::tm& value) {
    const int column = _FindColumn(row, name, "GetDate", "GetDate", ".  Setting time to the epoch");
    if (column < 0) {
        constexpr time_t epoch = 0;
        if (row)
            gmtime_r(&epoch, &value);
        return false;
    }
    const char* const text = TextOf(row, column);
    if (!text)
        return false;
    strptime(text, "%Y-%m-%d %H:%M:%S", &value);
    return true;
}

bool JDB3helper::GetInt64(sqlite3_stmt* row, const char* name, int64_t& value) {
    const int column = _FindColumn(row, name, "GetInt64", "GetInt64");
    if (column >= 0)
        value = sqlite3_column_int64(row, column);
    return column >= 0;
}

bool JDB3helper::GetInt(sqlite3_stmt* row, const char* name, int32_t& value) {
    const int column = _FindColumn(row, name, "GetInt", "GetInt");
    if (column >= 0)
        value = sqlite3_column_int(row, column);
    return column >= 0;
}

bool JDB3helper::GetDouble(sqlite3_stmt* row, const char* name, double& value) {
    const int column = _FindColumn(row, name, "GetString", "GetString");
    if (column >= 0)
        value = sqlite3_column_double(row, column);
    return column >= 0;
}

bool JDB3helper::GetString(sqlite3_stmt* row, const char* name, std::string& value) {
    const int column = _FindColumn(row, name, "GetString", "GetString");
    if (column < 0)
        return false;
    const char* const text = TextOf(row, column);
    value = text ? text : "";
    _bytesRead += value.size();
    return true;
}

bool JDB3helper::GetUuid(sqlite3_stmt* row, const char* name, std::string& value) {
    const int column = _FindColumn(row, name, "GetString", "GetInt");
    if (column < 0)
        return false;
    const int size = sqlite3_column_bytes(row, column);
    if (size != uuidSize) {
        syslog(LOG_ERR, "JDB3helper::GetInt - Field %s incorrect size (%i bytes) for UUID", name, size);
        return false;
    }
    value = UuidText(static_cast<const uint8_t*>(sqlite3_column_blob(row, column)));
    return true;
}

} // namespace JobsManagerD

#pragma once

#include "jobfiles/JDB3JobFields.h"

#include <cstdint>
#include <string>
#include <vector>

namespace JobsManagerD {

class SqliteStatement;

/// The statements that read a job database, in the order of the table of their texts.
enum JDB3StatementKey : int32_t {
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

struct JDB3StatementText {
    JDB3StatementKey key;
    const char* sql;
    const char* table;
};

constexpr JDB3StatementText jdb3StatementTexts[] = {
    {JOB_INFO, "SELECT * from JobInfo", "JobInfo"},
    {JOBS, "SELECT * from Jobs", "Jobs"},
    {BOOKMARK_TYPES, "SELECT Type from Bookmarks", "Bookmarks"},
    {LOCATION, "SELECT Latitude, Longitude FROM Addresses WHERE Id = ?", "Addresses"},
    {ADDRESS_LINKS, "SELECT * from AddressLinks", "AddressLinks"},
    {ADDRESSES, "SELECT * from Addresses", "Addresses"},
    {BOOKMARKS, "SELECT * from Bookmarks", "Bookmarks"},
    {CONTACTS, "SELECT * from Contacts", "Contacts"},
    {SEGMENTS, "SELECT * from Segments", "Segments"},
};

/// Copies the rows of those statements into the fields of a job. Columns are found by name; what is missing or wrong is
/// logged and leaves its member as it was.
class JDB3Tables {
public:
    /// Of the result set whose rows come next.
    void _RecordColumnNames(const SqliteStatement& statement);
    /// False, with a log line, for an unknown key only.
    bool _ParseRecordRow(int32_t key, const SqliteStatement& row);

    JDB3JobFields& Fields() { return _fields; }
    const JDB3JobFields& Fields() const { return _fields; }
    /// What the records and their texts take in memory.
    size_t BytesRead() const { return _bytesRead; }

private:
    template <typename Record>
    struct Column;
    struct Columns;

    void _CountBookmark(const SqliteStatement& row);
    template <typename Record>
    void _ReadColumns(const SqliteStatement& row, const std::vector<Column<Record>>& columns, Record& record);
    template <typename Record>
    void _AppendRecord(const SqliteStatement& row, const std::vector<Column<Record>>& columns,
                       std::vector<Record>& records);

    // The getters leave the value as it is when there is no such column.
    int _GetFieldColumnIndex(const char* name) const;
    int _FindColumn(const SqliteStatement& row, const char* name, const char* getterOfStatementLine,
                    const char* getterOfFieldLine, const char* ending = "") const;
    /// A missing column gives the epoch; text that is no date is passed over.
    bool GetDate(const SqliteStatement& row, const char* name, std::tm& value);
    bool GetInt64(const SqliteStatement& row, const char* name, int64_t& value);
    bool GetInt(const SqliteStatement& row, const char* name, int32_t& value);
    bool GetDouble(const SqliteStatement& row, const char* name, double& value);
    /// NULL gives the empty text.
    bool GetString(const SqliteStatement& row, const char* name, std::string& value);
    /// A blob of 16 bytes in its text form of 36 characters.
    bool GetUuid(const SqliteStatement& row, const char* name, std::string& value);

    JDB3JobFields _fields;
    std::vector<std::string> _columnNames;
    size_t _bytesRead = 0;
};

} // namespace JobsManagerD

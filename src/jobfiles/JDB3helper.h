#pragma once

#include "jobfiles/JDB3JobFields.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace JobsManagerD {

/// Reads one job database of the earlier generation: opened read-only, read by a fixed set of statements, closed. The
/// file stays byte for byte as it is, and nothing is left beside it. What the database holds is a stranger's: views are
/// refused, and time and memory are bounded.
///
/// Each operation gives true for success and has logged its failure. One helper is for one thread; helpers on several
/// threads are independent. The end of the helper closes a database that is still open.
class JDB3helper {
public:
    explicit JDB3helper(std::string path);
    JDB3helper(const JDB3helper&) = delete;
    JDB3helper& operator=(const JDB3helper&) = delete;
    ~JDB3helper();

    /// Succeeds for a file that is no database: only the statements find that out.
    bool Open();
    bool Close();
    /// Reads what a job list shows.
    bool ExtractJobSummaryFields();
    /// Reads all but the counts of bookmarks and the location.
    bool ExtractJobFields();

    const JDB3JobFields& Fields() const { return _fields; }

private:
    struct CloseDatabase {
        void operator()(sqlite3* database) const;
    };
    struct FinalizeStatement {
        void operator()(sqlite3_stmt* statement) const;
    };
    struct JDB3Statement {
        int32_t key;
        const char* sql;
        std::unique_ptr<sqlite3_stmt, FinalizeStatement> prepared;
    };
    template <typename Record>
    struct Column;
    struct Columns;

    void _Restrict();
    JDB3Statement* _FindStatement(int32_t key);
    bool _PrepareStatement(int32_t key);
    bool _PrepareStatements(const char* method, std::initializer_list<int32_t> keys);
    bool _PrepareSummaryStatements();
    bool _PrepareJobStatements();
    void _Finalize();

    bool ExecuteStatement(int32_t key);
    bool ExecuteStatements(std::initializer_list<int32_t> keys);
    bool _ReadRows(const JDB3Statement& statement);
    bool _Execute(const char* command);
    void _RecordColumnNames(sqlite3_stmt* statement);
    bool _ParseRecordRow(const JDB3Statement& statement);
    void _CountBookmark(sqlite3_stmt* row);
    template <typename Record>
    void _ReadColumns(sqlite3_stmt* row, const std::vector<Column<Record>>& columns, Record& record);
    template <typename Record>
    void _AppendRecord(sqlite3_stmt* row, const std::vector<Column<Record>>& columns, std::vector<Record>& records);

    // The getters leave the value as it is when there is no such column, which is logged.
    int _GetFieldColumnIndex(const char* name) const;
    int _FindColumn(sqlite3_stmt* row, const char* name, const char* getterOfStatementLine,
                    const char* getterOfFieldLine, const char* ending = "") const;
    /// A missing column gives the epoch; text that is no date is passed over.
    bool GetDate(sqlite3_stmt* row, const char* name, std::tm& value);
    bool GetInt64(sqlite3_stmt* row, const char* name, int64_t& value);
    bool GetInt(sqlite3_stmt* row, const char* name, int32_t& value);
    bool GetDouble(sqlite3_stmt* row, const char* name, double& value);
    /// NULL gives the empty text.
    bool GetString(sqlite3_stmt* row, const char* name, std::string& value);
    /// A blob of 16 bytes in its text form of 36 characters.
    bool GetUuid(sqlite3_stmt* row, const char* name, std::string& value);

    const std::string _path;
    /// Processor time of this thread when the database was opened.
    time_t _startSecond = 0;
    /// Before the statements, which go first.
    std::unique_ptr<sqlite3, CloseDatabase> _database;
    std::vector<JDB3Statement> _statements;
    /// Of the result set that is being read.
    std::vector<std::string> _columnNames;
    JDB3JobFields _fields;
    /// What the records and their texts take in memory.
    size_t _bytesRead = 0;
};

} // namespace JobsManagerD

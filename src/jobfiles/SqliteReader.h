#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace JobsManagerD {

/// A prepared statement and the row it stands on. Operations return SQLite's codes. Columns count from 0, parameters
/// from 1.
class SqliteStatement {
public:
    explicit SqliteStatement(sqlite3_stmt* statement = nullptr) : _statement(statement) {}

    explicit operator bool() const { return _statement != nullptr; }
    int Reset();
    int Step();
    int Bind(int parameter, int32_t value);
    /// Returns the code of the last step, when that failed.
    int Finalize();

    int ColumnCount() const;
    const char* ColumnName(int column) const;
    /// Null for NULL. Valid until the next step.
    const char* Text(int column) const;
    int32_t Int(int column) const;
    int64_t Int64(int column) const;
    double Double(int column) const;
    /// Valid until the next step.
    std::span<const uint8_t> Bytes(int column) const;

private:
    struct FinalizeStatement {
        void operator()(sqlite3_stmt* statement) const;
    };
    std::unique_ptr<sqlite3_stmt, FinalizeStatement> _statement;
};

/// A read-only connection to one SQLite database that nobody vouches for. The file stays byte for byte as it is, and
/// nothing is left beside it. Only plain tables can be read. Beyond the bounds of size and time, operations fail with
/// one of the codes for which `IsRefusal` is true, and what has been read so far is not the whole.
///
/// Operations return SQLite's codes. One connection is for one thread, and outlives its statements.
class SqliteReader {
public:
    SqliteReader() = default;
    SqliteReader(const SqliteReader&) = delete;
    SqliteReader& operator=(const SqliteReader&) = delete;

    explicit operator bool() const { return _database != nullptr; }
    /// Succeeds for a file that is no database: only the statements find that out.
    int Open(const std::string& path);
    /// The database stays open when this fails.
    int Close();
    /// `table` is the one that the statement reads.
    int Prepare(const char* sql, const char* table, SqliteStatement& statement);
    /// Runs a command that has no result.
    int Run(const char* command);
    /// Says why the last operation failed.
    std::string ErrorText() const;

    static bool IsRefusal(int code);

private:
    void _Restrict();
    int _Prepare(const std::string& sql, SqliteStatement& statement);
    int _LookForComputedColumns();
    int _RefuseComputedColumns(const std::string& table);

    struct CloseDatabase {
        void operator()(sqlite3* database) const;
    };
    std::unique_ptr<sqlite3, CloseDatabase> _database;
    /// Set where SQLite itself has no text.
    std::string _error;
    /// Those that may be read; the first is SQLite's own, of the definitions.
    std::vector<std::string> _tables{"sqlite_master"};
    bool _isLookedThrough = false;
    bool _mayComputeColumns = false;
    /// Processor times of this thread, in nanoseconds: when all reading ends, and when the present part of it does.
    int64_t _endOfReading = 0;
    int64_t _deadline = 0;
};

} // namespace JobsManagerD

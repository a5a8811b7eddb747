#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <span>
#include <string>

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
/// nothing is left beside it. Views are refused; the length of a value, in bytes, and the processor time are bounded.
///
/// Operations return SQLite's codes. One connection is for one thread; its statements go before it does.
class SqliteReader {
public:
    SqliteReader() = default;
    SqliteReader(const SqliteReader&) = delete;
    SqliteReader& operator=(const SqliteReader&) = delete;

    explicit operator bool() const { return _database != nullptr; }
    /// Succeeds for a file that is no database: only the statements find that out.
    int Open(const std::string& path);
    /// Stays open when it fails.
    int Close();
    int Prepare(const char* sql, SqliteStatement& statement);
    /// Runs a command that has no result.
    int Run(const char* command);
    /// Says why the last operation failed.
    std::string ErrorText() const;

private:
    void _Restrict();

    struct CloseDatabase {
        void operator()(sqlite3* database) const;
    };
    std::unique_ptr<sqlite3, CloseDatabase> _database;
    std::string _openError;
    /// Processor time of this thread when the database was opened.
    time_t _startSecond = 0;
};

} // namespace JobsManagerD

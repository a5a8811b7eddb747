#pragma once

#include "jobfiles/JDB3Tables.h"
#include "jobfiles/SqliteReader.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace JobsManagerD {

/// Reads one job database of the earlier generation: opened read-only, read by a fixed set of statements, closed. The
/// file stays byte for byte as it is, and nothing is left beside it.
///
/// Each operation gives true for success and has logged its failure. A database that takes more time or memory than any
/// real one is refused as a whole, with a log line. One helper is for one thread; helpers on several threads are
/// independent. The end of the helper closes a database that is still open.
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

    const JDB3JobFields& Fields() const { return _tables.Fields(); }

private:
    struct JDB3Statement {
        int32_t key;
        const char* sql;
        const char* table;
        SqliteStatement prepared;
    };

    JDB3Statement* _FindStatement(int32_t key);
    bool _PrepareStatement(int32_t key);
    bool _PrepareStatements(const char* method, std::initializer_list<int32_t> keys);
    bool _PrepareSummaryStatements();
    bool _PrepareJobStatements();
    void _Finalize();

    bool ExecuteStatement(int32_t key);
    bool ExecuteStatements(std::initializer_list<int32_t> keys);
    bool _ReadRows(JDB3Statement& statement);
    bool _Execute(const char* command);

    const std::string _path;
    SqliteReader _database;
    /// Go before the database does.
    std::vector<JDB3Statement> _statements;
    JDB3Tables _tables;
};

} // namespace JobsManagerD

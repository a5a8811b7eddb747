#pragma once

#include <map>
#include <memory>
#include <string>

struct sqlite3;

namespace Simulator {

/// A job database of the earlier generation, written as that wrote it. What fails throws std::runtime_error.
class LegacyDatabase {
public:
    /// Opens the file, making it when it is not there, without a table.
    static LegacyDatabase Open(const std::string& path);
    /// The same, and makes all its tables, empty.
    static LegacyDatabase Make(const std::string& path);

    /// Runs one or more statements.
    void Run(const std::string& sql);
    /// Adds a row; the values are SQL literals.
    void Insert(const std::string& table, const std::map<std::string, std::string>& row);

    /// A text as an SQL literal.
    static std::string Text(const std::string& text);

private:
    explicit LegacyDatabase(const std::string& path);

    struct Close {
        void operator()(sqlite3* database) const;
    };
    std::unique_ptr<sqlite3, Close> _database;
};

} // namespace Simulator

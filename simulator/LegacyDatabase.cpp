#include "simulator/LegacyDatabase.h"

#include <sqlite3.h>
#include <stdexcept>

namespace Simulator {
namespace {

constexpr const char* tables = R"(
CREATE TABLE JobInfo (Id INTEGER PRIMARY KEY, JobSize INTEGER, DateLastCalculated TEXT, JobLocked INTEGER);
CREATE TABLE Jobs (Id INTEGER PRIMARY KEY, UniqueId BLOB, Name TEXT, ReasonForCall TEXT, Description TEXT,
    PrivateNote TEXT, Source TEXT, Serial TEXT, Version TEXT, StartTime TEXT, LastModifiedTime TEXT,
    CustomerId INTEGER, InspectorId INTEGER, LocationId INTEGER);
CREATE TABLE Segments (Id INTEGER PRIMARY KEY, RelativePath TEXT, Purpose TEXT, Quote TEXT, Action TEXT, Summary TEXT,
    ReasonForCall TEXT, Description TEXT, PrivateNote TEXT, Source TEXT);
CREATE TABLE Bookmarks (Id INTEGER PRIMARY KEY, SegmentId INTEGER, UniqueId BLOB, Type TEXT, Timestamp TEXT,
    IsSelected INTEGER, Note TEXT, PrivateNote TEXT, VideoPath TEXT, ImagePath TEXT, AudioPath TEXT, DataPath TEXT);
CREATE TABLE Contacts (Id INTEGER PRIMARY KEY, Title TEXT, FirstName TEXT, LastName TEXT, Company TEXT,
    EmailAddress TEXT, WebAddress TEXT, HomeNumber TEXT, BusinessNumber TEXT, MobileNumber TEXT, FaxNumber TEXT);
CREATE TABLE Addresses (Id INTEGER PRIMARY KEY, ContactId INTEGER, AddressType TEXT, Street TEXT, City TEXT,
    State TEXT, PostalCode TEXT, Country TEXT, Latitude REAL, Longitude REAL);
CREATE TABLE AddressLinks (AddressId INTEGER, ContactId INTEGER);
)";

} // namespace

void LegacyDatabase::Close::operator()(sqlite3* database) const { sqlite3_close(database); }

LegacyDatabase::LegacyDatabase(const std::string& path) {
    sqlite3* database = nullptr;
    const int result = sqlite3_open(path.c_str(), &database);
    _database.reset(database);
    if (result != SQLITE_OK)
        throw std::runtime_error("cannot open " + path);
    // A card full of them is made in seconds this way.
    Run("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF");
}

LegacyDatabase LegacyDatabase::Open(const std::string& path) { return LegacyDatabase(path); }

LegacyDatabase LegacyDatabase::Make(const std::string& path) {
    LegacyDatabase database(path);
    database.Run(std::string("BEGIN;") + tables + "COMMIT");
    return database;
}

void LegacyDatabase::Run(const std::string& sql) {
    if (sqlite3_exec(_database.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        throw std::runtime_error(sql + ": " + sqlite3_errmsg(_database.get()));
}

void LegacyDatabase::Insert(const std::string& table, const std::map<std::string, std::string>& row) {
    std::string names;
    std::string values;
    for (const auto& [name, value] : row) {
        names += (names.empty() ? "" : ",") + name;
        values += (values.empty() ? "" : ",") + value;
    }
    Run("INSERT INTO " + table + " (" + names + ") VALUES (" + values + ")");
}

std::string LegacyDatabase::Text(const std::string& text) {
    std::string literal = "'";
    for (const char c : text)
        literal += c == '\'' ? "''" : std::string(1, c);
    return literal + "'";
}

} // namespace Simulator

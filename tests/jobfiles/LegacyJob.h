#pragma once

#include "fsutil/LogLines.h"
#include "simulator/LegacyDatabase.h"
#include "support/TemporaryFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <optional>

namespace Testing {

/// A job of the earlier generation in the folder "card/50%?#.A", whose database a test fills.
class LegacyJobTest : public testing::Test {
protected:
    using Row = std::map<std::string, std::string>;

    /// Makes the database anew, with the least rows that make a job.
    Simulator::LegacyDatabase& MakeJob(const Row& jobs = {}) {
        MakeEmpty();
        Row row{{"UniqueId", "x'000102030405060708090a0b0c0d0e0f'"}, {"StartTime", "'2012-01-02 03:04:05'"}};
        for (const auto& [name, value] : jobs)
            row[name] = value;
        database->Insert("Jobs", row);
        database->Insert("JobInfo", {{"DateLastCalculated", "'2012-02-03 04:05:06'"}, {"JobLocked", "1"}});
        return *database;
    }
    Simulator::LegacyDatabase& MakeEmpty(bool withTables = true) {
        database.reset();
        std::filesystem::remove(path);
        database = withTables ? Simulator::LegacyDatabase::Make(path) : Simulator::LegacyDatabase::Open(path);
        return *database;
    }
    std::string JobFile(const std::string& name) const { return card / (folder + name); }

    TemporaryFolder card;
    TestLog log;
    /// What a URI takes for its own parts is part of a name here.
    const std::string folder = "card/50%?#.A/";
    const std::string path = card.Write(folder + "job.jdb3", "");
    std::optional<Simulator::LegacyDatabase> database;
};

} // namespace Testing

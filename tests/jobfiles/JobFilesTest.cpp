#include "jobfiles/JobFiles.h"

#include "fsutil/CopyFolder.h"
#include "fsutil/LogLines.h"
#include "fsutil/OrdinaryUser.h"
#include "fsutil/RecordedCalls.h"
#include "jobfiles/JobFileBytes.h"
#include "jobs/Json.h"
#include "jobs/SampleJob.h"
#include "support/TemporaryFolder.h"

#include <atomic>
#include <fcntl.h>
#include <filesystem>
#include <future>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

namespace fs = std::filesystem;
using nlohmann::json;

namespace JobsManagerD {
namespace {

using Testing::Lines;

class JobFilesTest : public testing::Test {
protected:
    JobFilesTest() {
        folder.MakeFolder("J");
        folder.MakeFolder("copy");
    }
    ~JobFilesTest() override { systemCalls = kernelCalls; }

    std::string Path(const std::string& name) const { return folder / name; }
    std::unique_ptr<Job> SampleJob(const std::string& name) const {
        auto sample = std::make_unique<Job>(Path(name));
        Testing::FillSampleJob(*sample);
        return sample;
    }

    Testing::TemporaryFolder folder;
    Testing::TestLog log;
    JobFiles files;
    const std::string job = Path("J/job.json");
};

TEST_F(JobFilesTest, TheExtensionChoosesTheHandler) {
    const auto sample = SampleJob("J/job.json");
    EXPECT_EQ(files.Save(*sample), JOBFILE_OP_SUCCEEDED);
    Job read(job);
    EXPECT_EQ(files.LoadSummary(read), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(files.Load(read), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(read.MediaRecords().size(), 2u);
    json document;
    EXPECT_EQ(files.ExtractJson(read, document), JOBFILE_OP_SUCCEEDED);
    EXPECT_EQ(CompactDump(document), folder.Read("J/job.json"));
    EXPECT_EQ(files.CheckFormat(read, "SearchJob"), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(files.Save(*SampleJob("J/old.jdb3")), JOBFILE_OP_UNSUPPORTED) << "it can be read only";
    log.Take();

    Job stranger(Path("J/job.JSON"));
    EXPECT_EQ(files.LoadSummary(stranger), JOBS_RTN_UNSUPPORTED_FORMAT);
    EXPECT_EQ(files.Load(stranger), JOBS_RTN_UNSUPPORTED_FORMAT);
    EXPECT_EQ(files.CheckFormat(stranger, "UpdateJobFile"), JOBS_RTN_UNSUPPORTED_FORMAT);
    EXPECT_EQ(files.Save(stranger), JOBFILE_OP_UNSUPPORTED);
    EXPECT_EQ(log.TakeErrors(), (Lines{"ManagedDevice::_LoadJobSummary - Unsupported File Format JSON",
                                       "ManagedDevice::_LoadJob - Unsupported File Format JSON",
                                       "ManagedDevice::UpdateJobFile - Unsupported jobfile format - extension JSON"}));
}

TEST_F(JobFilesTest, ATornFileIsRememberedUntilItIsWhole) {
    const auto sample = SampleJob("J/job.json");
    ASSERT_EQ(files.Save(*sample), JOBFILE_OP_SUCCEEDED);
    const std::string before = folder.Read("J/job.json");
    {
        Testing::RecordedCalls calls;
        calls.before = [](const std::string& line) { return line == "write job.json" ? ENOSPC : 0; };
        sample->ChangeSummary([](JobSummary& summary) { summary.name = "fails"; });
        EXPECT_EQ(files.Save(*sample), JOBFILE_OP_FS_ERROR);
        EXPECT_EQ(files.Save(*sample), JOBFILE_OP_FS_ERROR);
        EXPECT_EQ(folder.Read("J/job.json.bak"), before);
    }
    Job read(job);
    EXPECT_EQ(files.LoadSummary(read), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(read.Summary().name, "North road");

    // Whole again: the next save keeps it as its backup.
    sample->ChangeSummary([](JobSummary& summary) { summary.name = "works"; });
    EXPECT_EQ(files.Save(*sample), JOBFILE_OP_SUCCEEDED);
    EXPECT_EQ(folder.Read("J/job.json.bak"), before);
    EXPECT_EQ(folder.Read("J/job.json"), sample->JSONstring(JSON_MODE_FILE));
}

TEST_F(JobFilesTest, WhatCouldNotBeReadAgainIsNotSaved) {
    const auto sample = SampleJob("J/job.json");
    ASSERT_EQ(files.Save(*sample), JOBFILE_OP_SUCCEEDED);
    const std::string before = folder.Read("J/job.json");
    sample->Details().notes = std::string(longestFile, 'n');
    EXPECT_EQ(files.Save(*sample), JOBFILE_OP_FS_ERROR);
    sample->Details().notes.clear();
    Contact contact = Testing::SampleContact("");
    contact.phones = contact.web = {{"", ""}};
    sample->Details().contacts.assign(250000, contact);
    EXPECT_EQ(files.Save(*sample), JOBFILE_OP_FS_ERROR);
    EXPECT_EQ(folder.Read("J/job.json"), before);
    EXPECT_EQ(log.TakeErrors().back(), "UpdateJobFile: Failed to update job file " + job);
}

TEST_F(JobFilesTest, PathsDoNotWaitForOneAnother) {
    JobFileBytes bytes;
    ASSERT_TRUE(bytes.Write(job, "{}"));
    std::promise<void> isWriting;
    std::promise<void> mayGoOn;
    Testing::RecordedCalls calls;
    std::atomic<bool> holds{true};
    calls.before = [&](const std::string& line) {
        if (line == "write job.json" && holds.exchange(false)) {
            isWriting.set_value();
            mayGoOn.get_future().wait();
        }
        return 0;
    };
    std::thread slow([&] { bytes.Write(job, "{1}"); });
    isWriting.get_future().wait();
    for (int i = 0; i < 100; ++i) {
        JobText text;
        folder.Write("J/" + std::to_string(i), "{}");
        EXPECT_EQ(bytes.Read(Path("J/" + std::to_string(i)), text).reading, FileReading::whole);
    }
    auto reader = std::async(std::launch::async, [&] {
        JobText text;
        bytes.Read(job, text);
        return text.text;
    });
    mayGoOn.set_value();
    slow.join();
    EXPECT_EQ(reader.get(), "{1}") << "never half a save";
}

TEST_F(JobFilesTest, LocksVanishWithTheirLastUser) {
    PathLocks locks;
    {
        const PathLocks::Held one(locks, "a");
        const PathLocks::Held other(locks, "b");
        EXPECT_EQ(locks.Size(), 2u);
        auto waiting = std::async(std::launch::async, [&] { const PathLocks::Held again(locks, "c"); });
        waiting.get();
        EXPECT_EQ(locks.Size(), 2u);
    }
    EXPECT_EQ(locks.Size(), 0u);
}

/// Clients save while their job is copied: each copy is one of the states that were saved.
TEST_F(JobFilesTest, ACopyIsAStateThatTheJobHad) {
    systemCalls.sync = [](int) { return 0; };
    const auto sample = SampleJob("J/job.json");
    ASSERT_EQ(files.Save(*sample), JOBFILE_OP_SUCCEEDED);
    folder.Write("J/media/a", "media");
    std::atomic<bool> stop{false};
    std::thread client([&] {
        for (size_t length = 1; !stop; length = length % 40000 + 997) {
            sample->Details().notes = std::string(length, 'n');
            files.Save(*sample);
        }
    });
    for (int round = 0; round < 100; ++round) {
        fs::remove_all(Path("copy"));
        folder.MakeFolder("copy");
        ASSERT_FALSE(files.CopyFolder(job, Path("copy")));
        ASSERT_TRUE(json::accept(folder.Read("copy/job.json"))) << round;
        ASSERT_TRUE(round == 0 || json::accept(folder.Read("copy/job.json.bak"))) << round;
        ASSERT_EQ(folder.Read("copy/media/a"), "media");
    }
    stop = true;
    client.join();
}

TEST_F(JobFilesTest, ACopyHasTheWholeFolder) {
    folder.Write("J/job.json", "{}");
    folder.Write("J/other.json", "[]");
    folder.Write("J/a/b/c", "deep");
    folder.Write("J/.old.jdb3-converted", "");
    folder.Write("outside", "kept");
    fs::create_symlink(Path("outside"), Path("J/link"));
    fs::permissions(Path("J/.old.jdb3-converted"), fs::perms(0300));
    fs::permissions(folder.Path(), fs::perms(0777));
    fs::permissions(Path("copy"), fs::perms(0777));
    const auto time = fs::file_time_type::clock::now() - std::chrono::hours(24);
    fs::last_write_time(job, time);
    if (const Testing::OrdinaryUser user; user) {
        EXPECT_FALSE(files.CopyFolder(job, Path("copy")));
    }
    EXPECT_EQ(folder.List("copy"), (Lines{".old.jdb3-converted", "a", "job.json", "link", "other.json"}));
    EXPECT_EQ(folder.Read("copy/a/b/c"), "deep");
    EXPECT_TRUE(fs::is_symlink(Path("copy/link")));
    EXPECT_EQ(fs::last_write_time(Path("copy/job.json")), time);
    EXPECT_EQ(fs::status(Path("copy/.old.jdb3-converted")).permissions(), fs::perms(0300));

    fs::permissions(Path("J/other.json"), fs::perms(0300));
    fs::remove_all(Path("copy"));
    folder.MakeFolder("copy");
    fs::permissions(Path("copy"), fs::perms(0777));
    if (const Testing::OrdinaryUser user; user) {
        EXPECT_EQ(files.CopyFolder(job, Path("copy")), std::errc::permission_denied) << "it holds something";
    }
    ASSERT_EQ(mkfifo(Path("J/fifo").c_str(), 0600), 0);
    folder.MakeFolder("again");
    EXPECT_TRUE(files.CopyFolder(job, Path("again")));
    fs::remove(job);
    folder.MakeFolder("third");
    EXPECT_TRUE(files.CopyFolder(job, Path("third"))) << "a job without its file is none";
}

TEST_F(JobFilesTest, ANewJobIsSyncedFromTheInside) {
    Testing::RecordedCalls calls;
    folder.Write("J/job.json", "{}");
    folder.MakeFolder("J/media");
    EXPECT_FALSE(SyncNewJob(Path("J/media"), Path("J"), folder.Path()));
    EXPECT_EQ(calls.lines, (Lines{"sync media", "sync J", "sync " + folder.Path().filename().string()}));
    calls.before = [](const std::string& line) { return line.ends_with(" J") ? EIO : 0; };
    EXPECT_EQ(SyncNewJob(Path("J/media"), Path("J"), folder.Path()), std::errc::io_error);
}

/// What a child process has taken in memory, in bytes, when four threads read one file each.
size_t PeakOfLoading(const std::vector<std::string>& paths, jobsDaemonRtn_e (JobFiles::*load)(Job&) const) {
    const pid_t child = fork();
    if (child == 0) {
        const JobFiles files;
        std::vector<std::thread> threads;
        for (const std::string& path : paths)
            threads.emplace_back([&files, &path, load] {
                Job read(path);
                (files.*load)(read);
            });
        for (std::thread& thread : threads)
            thread.join();
        _exit(0);
    }
    rusage usage{};
    wait4(child, nullptr, 0, &usage);
    return static_cast<size_t>(usage.ru_maxrss) * 1024;
}

TEST_F(JobFilesTest, LargeFilesCostTheMemoryOfOne) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer takes memory of its own";
#endif
    std::string objects = "{}";
    while (objects.size() < 8 * 1024 * 1024)
        objects += ",{}";
    const std::string odd = R"({"id":"x","media":[)" + objects + "]}";
    const std::string notes = R"({"notes":")" + std::string(4 * 1024 * 1024, 'n') + R"("})";
    std::vector<std::string> oddOnes, longOnes;
    for (int i = 0; i < 4; ++i) {
        oddOnes.push_back(folder.Write("odd" + std::to_string(i) + "/job.json", odd));
        longOnes.push_back(folder.Write("long" + std::to_string(i) + "/job.json", notes));
    }
    for (const auto load : {&JobFiles::LoadSummary, &JobFiles::Load})
        for (const std::vector<std::string>& paths : {oddOnes, longOnes})
            EXPECT_LT(PeakOfLoading(paths, load), PeakOfLoading({paths[0]}, load) + odd.size());
    const size_t idle = PeakOfLoading({}, &JobFiles::Load);
    EXPECT_LT(PeakOfLoading(oddOnes, &JobFiles::Load), idle + odd.size() * 3) << "refused before it is parsed";
}

} // namespace
} // namespace JobsManagerD

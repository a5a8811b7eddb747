#include "Command.h"
#include "ExitCodes.h"
#include "device/FindingJobsTest.h"
#include "device/ManagedDevice.h"
#include "simulator/LegacyCardMaker.h"
#include "support/Deadline.h"

#include <csignal>
#include <fcntl.h>
#include <future>
#include <set>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Testing {
namespace {

/// What a line of a shell has left behind.
struct Ended {
    int exitCode;
    std::string out;
    std::string err;
};

/// Whether the text is the pattern, in which a * stands for any text.
bool Matches(const std::string& text, const std::string& pattern) {
    const size_t star = pattern.find('*');
    if (star == std::string::npos)
        return text == pattern;
    if (text.substr(0, star) != pattern.substr(0, star))
        return false;
    const std::string rest = pattern.substr(star + 1);
    for (size_t at = star; at <= text.size(); ++at)
        if (Matches(text.substr(at), rest))
            return true;
    return false;
}

class CommandLineTest : public FindingJobsTest {
protected:
    CommandLineTest() {
        const std::filesystem::path program(TARN_JOBS);
        setenv("PATH", (program.parent_path().string() + ":" + getenv("PATH")).c_str(), 1);
    }

    pid_t Start(const std::string& line) {
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        const int flags = O_WRONLY | O_CREAT | O_TRUNC;
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, (folder / "out").c_str(), flags, 0600);
        posix_spawn_file_actions_addopen(&files, STDERR_FILENO, (folder / "err").c_str(), flags, 0600);
        const char* const words[] = {"bash", "-c", line.c_str(), nullptr};
        pid_t process = -1;
        EXPECT_EQ(posix_spawnp(&process, "bash", &files, nullptr, const_cast<char**>(words), environ), 0);
        posix_spawn_file_actions_destroy(&files);
        return process;
    }
    Ended End(pid_t process) {
        int status = 0;
        waitpid(process, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), folder.Read("out"), folder.Read("err")};
    }
    Ended Run(const std::string& line) { return End(Start(line)); }

    TemporaryFolder folder;
};

/// A line, how it ends and what it prints; what it prints may go into a variable for the lines after it.
struct Row {
    std::string line;
    std::string output;
    int exitCode = 0;
    std::string variable = "";
};

// The life of a job. Together the lines have every command.
const Row rows[] = {
    {"tarn-jobs devices", "   DEVICE  STATE  JOBS  OLDER JOBS  CURRENT JOB\n   back    Idle   0     0\n*  front *\n"},
    {"tarn-jobs devices --json", "[{\"id\":\"back\",\"isTarget\":false,\"state\":\"Idle\",*\"nMatches\":0}}]\n"},
    {"tarn-jobs target", "front\n"},
    {"tarn-jobs target back", "back\n"},
    {"tarn-jobs target nowhere", "", 102},
    {"tarn-jobs create 'Main Street' -d front", "*-*\n", 0, "job"},
    {"tarn-jobs current", "$job\n"},
    {"tarn-jobs --json current", "{\"id\":\"$job\",\"device\":\"front\"}\n"},
    {"tarn-jobs create", "", 115},
    {"tarn-jobs folder", "/*/Main Street-*\n"},
    {"tarn-jobs set name 'Side Street'", ""},
    {"tarn-jobs get name --device front", "Side Street\n"},
    {"echo -n Roots and joints | tarn-jobs set notes -", ""},
    {"tarn-jobs get notes --json", "\"Roots and joints\"\n"},
    {"tarn-jobs set private-notes -- '-5'", ""},
    {"tarn-jobs get private-notes", "-5\n"},
    {"tarn-jobs set user-data '[1,{\"a\":\"b\"}]' --json", "{\"code\":0,\"text\":\"Succeeded\"}\n"},
    {"tarn-jobs get user-data", "- 1\n-\n  a: b\n"},
    {"tarn-jobs set customer '{\"lastName\":\"Berg\"}'", ""},
    {"tarn-jobs get customer --json", "{\"lastName\":\"Berg\"}\n"},
    {"tarn-jobs set address '{\"street\":'", "", 119},
    {"tarn-jobs set address '{\"street\":\"Main\"}' && tarn-jobs clear address && tarn-jobs get address --json",
     "{}\n"},
    {"tarn-jobs set locked true && tarn-jobs get locked", "true\n"},
    {"tarn-jobs set locked maybe", "", 2},
    {"tarn-jobs add-contact '{\"firstName\":\"Tom\"}'", "1\n"},
    {"tarn-jobs update-contact '{\"id\":1,\"firstName\":\"Tim\"}' && tarn-jobs contact 1", "firstName: Tim\nid: 1\n"},
    {"tarn-jobs contacts --json -j $job", "[{\"firstName\":\"Tim\",\"id\":1}]\n"},
    {"tarn-jobs remove-contact 1 && tarn-jobs contact 1", "", 123},
    {"tarn-jobs contact 256", "", 2},
    {"tarn-jobs new-media", "*/media/*\n", 0, "new"},
    {"echo picture >\"$new.jpg\" && tarn-jobs add snapshot Joint \"$new.jpg\" --roll -3 --distance 1250 -250", "*-*\n",
     0, "media"},
    {"for part in mp4 rec jpg; do echo $part >\"$new-v.$part\"; done", ""},
    {"cd \"$(dirname \"$new\")\" && n=$(basename \"$new\") && tarn-jobs add video Run \"$n-v\".{mp4,rec,jpg}", "*-*\n"},
    {"tarn-jobs add video Run \"$new-v.mp4\" '' \"$new-v.jpg\"", "", 5},
    {"tarn-jobs add autolog Run \"$new-v.mp4\"", "", 2},
    {"tarn-jobs add snapshot Joint \"$new.jpg\" more", "", 2},
    {"tarn-jobs media-id \"$new.jpg\"", "$media\n"},
    {"tarn-jobs media-id \"$new.none\"", "", 110},
    {"tarn-jobs update-sizes \"$new.jpg\"", ""},
    {"tarn-jobs counts", "total: 2\nautologs: 0\nimages: 1\nphotoTalks: 0\nvideos: 1\n"},
    {"tarn-jobs counts -d front -j $job --json", "{\"total\":2,*}\n"},
    {"tarn-jobs show -m $media", "cameraRollAngle: -3\ndistance:\n  absolute: 1250\n  relative: -250\nfiles:\n*"},
    {"tarn-jobs show", "*id: $job\n*"},
    {"tarn-jobs set notes Cracked -m $media && tarn-jobs get notes -m $media", "Cracked\n"},
    {"tarn-jobs set in-report true -m $media && tarn-jobs get in-report -m $media --json", "true\n"},
    {"tarn-jobs get locked -m $media", "", 2},
    {"tarn-jobs delete-media $media && tarn-jobs show -m $media", "", 110},
    {"tarn-jobs close", "$job\n"},
    {"tarn-jobs close", "", 107},
    {"tarn-jobs open unknown", "", 109},
    {"tarn-jobs open $job -d front && tarn-jobs close --json", "$job\n{\"id\":\"$job\"}\n"},
    {"tarn-jobs stats", "nRuvoJobs: 1\nnTamsyJobs: 0\nnTamsyJobsAtReIndex: 0\n"},
    {"tarn-jobs index --json", "{\"nRuvoJobs\":1,*}\n"},
    {"tarn-jobs index --no-wait -d nowhere", "", 102},
    {"tarn-jobs convert -d nowhere", "", 102},
    {"tarn-jobs convert", "nRuvoJobs: 1\nnTamsyJobs: 0\nnTamsyJobsAtReIndex: 0\n"},
    {"tarn-jobs search roots --in notes --limit 1 --json", "[{\"id\":\"$job\",*\"matchResult\":{\"term\":\"Roots*"},
    {"tarn-jobs search roots --case-sensitive --match starts", "JOB  CREATED  CHANGED  MEDIA  BYTES  NAME\n"},
    {"tarn-jobs search Berg --in customer.lastName --match exactly", "JOB*\n$job *  Side Street\n"},
    {"tarn-jobs search-stats", "*field:\n  customer:\n    lastName: Berg\nmatchCriterion: exactly\n*nMatches: 1\n"},
    {"tarn-jobs results --start 1", "", 129},
    {"tarn-jobs results --json", "[{*\"$job\"*}]\n"},
    {"tarn-jobs cancel", ""},
    {"tarn-jobs copy $job --to back", "1 of 1 jobs\n"},
    {"tarn-jobs copy $job --to back", "", 128},
    {"tarn-jobs move $job unknown --to back",
     "$job: Failed: Cannot delete/move locked job\nunknown: Failed: Job ID not found\n0 of 2 jobs\n", 1},
    {"tarn-jobs delete --all -d back --json",
     "{\"device\":\"back\",\"destination\":\"\",\"isCancelled\":false,\"done\":0,\"total\":1,\"errors\":[{\"job\":"
     "\"$job\",\"code\":17,\"text\":\"Failed: Cannot delete/move locked job\"}]}\n",
     1},
    {"tarn-jobs set locked false -j $job -d back && tarn-jobs delete --all -d back", "1 of 1 jobs\n"},
    {"tarn-jobs delete --all -d back", "0 of 0 jobs\n"},
    {"tarn-jobs copy --all --to back --no-wait && tarn-jobs cancel", ""},
    {"tarn-jobs move --all", "", 2},
    {"tarn-jobs delete $job --all", "", 2},
    {"tarn-jobs --json list", "[{\"id\":\"$job\",*\"name\":\"Side Street\",*}]\n"},
    {"tarn-jobs list --sort modified --ascending --start 1", "", 129},
    {"tarn-jobs list --sort size", "", 2},
    {"tarn-jobs bogus", "", 2},
    {"tarn-jobs", "", 2},
    {"tarn-jobs --values devices", "back\nfront\n"},
    {"tarn-jobs --values jobs", "$job\n"},
    {"tarn-jobs --address unix:path=/nonexistent list", "", 3},
    {"tarn-jobs --help", "Works with *Devices:\n*"},
    {"tarn-jobs list --help", "List the jobs of a device\n*"},
};

std::string Expanded(std::string text) {
    for (const char* name : {"job", "media"}) {
        const char* const value = getenv(name);
        const std::string place = std::string("$") + name;
        for (size_t at; value && (at = text.find(place)) != std::string::npos;)
            text.replace(at, place.size(), value);
    }
    return text;
}

TEST_F(CommandLineTest, EveryCommandDoesItsWork) {
    std::set<std::string> called{"watch"}; // has a test of its own
    for (const Row& row : rows) {
        const Ended ended = Run(row.line);
        EXPECT_EQ(ended.exitCode, row.exitCode) << row.line << '\n' << ended.err;
        const std::string pattern = row.variable.empty() ? Expanded(row.output) : "*-*\n";
        EXPECT_TRUE(row.exitCode > 1 || Matches(ended.out, pattern)) << row.line << '\n' << ended.out;
        EXPECT_EQ(ended.err.empty(), row.exitCode <= 1) << row.line << '\n' << ended.err;
        if (!row.variable.empty())
            setenv(row.variable.c_str(), ended.out.substr(0, ended.out.size() - 1).c_str(), 1);
        for (size_t at = row.line.find("tarn-jobs "); at != std::string::npos; at = row.line.find("tarn-jobs ", at + 1))
            called.insert(row.line.substr(at + 10, row.line.find_first_of(" \n)", at + 10) - at - 10));
    }
    for (const TarnJobs::Command& command : TarnJobs::Commands())
        EXPECT_TRUE(called.contains(command.name)) << command.name;
}

TEST_F(CommandLineTest, WatchTellsEverySignal) {
    const pid_t watching = Start("tarn-jobs watch -n 1; exec tarn-jobs watch --json");
    const auto waitFor = [this](const char* file, const std::string& text) {
        const auto end = std::chrono::steady_clock::now() + deadline;
        while (folder.Read(file).find(text) == std::string::npos && std::chrono::steady_clock::now() < end)
            Call("GetTargetDeviceID");
    };
    waitFor("err", "Listening.\n");
    ASSERT_EQ(Code("SetTargetDeviceID", "back"), 0);
    waitFor("err", "Listening.\nListening.\n");
    CreateJob("A", "front");
    ASSERT_EQ(Code("SetJobName", "", "", "B"), 0);
    CloseJob();
    const std::string closed = R"("property":"CurrentJobID","value":""})";
    waitFor("out", closed);
    kill(watching, SIGINT);
    const Ended ended = End(watching);
    EXPECT_EQ(ended.exitCode, -SIGINT);
    EXPECT_TRUE(Matches(ended.out, "PropertyChanged  property=TargetDeviceID  value=back\n"
                                   R"(*"event":"JobChanged","device":"front","summary":{*"name":"B",*)" +
                                       closed + "\n"))
        << ended.out;
}

TEST_F(CommandLineTest, LongWorkIsWaitedFor) {
    Simulator::MakeLegacyCard(service.MakeCard("older").Path(), {.jobs = 3});
    service.InsertCard("older");
    ASSERT_TRUE(service.WaitForDeviceProperty("older", "DeviceState", "Idle"));
    EXPECT_EQ(Run("tarn-jobs stats -d older").out, "nRuvoJobs: 0\nnTamsyJobs: 3\nnTamsyJobsAtReIndex: 3\n");
    EXPECT_EQ(Run("tarn-jobs convert -d older").out, "nRuvoJobs: 3\nnTamsyJobs: 0\nnTamsyJobsAtReIndex: 3\n");
    EXPECT_EQ(Run("tarn-jobs index -d older").out, "nRuvoJobs: 3\nnTamsyJobs: 0\nnTamsyJobsAtReIndex: 0\n");
}

TEST_F(CommandLineTest, CtrlCCancelsWorkOnManyJobs) {
    for (const char* id : {"A", "B", "C"})
        PutJob(id, JobDocument(id));
    FindJobs();
    Unit().Settings().Set("jobs", "multiJobMoveCopyUpdatePeriod", uint32_t{0});
    SettleSettings();
    std::promise<pid_t> started;
    const std::shared_future<pid_t> copying = started.get_future().share();
    service.Device("front")->_jobListCopyProgress.Connect(
        [copying](JobsManagerD::ManagedDevice&, const std::string&, int32_t percent, int32_t done, int32_t) {
            if (done != 1 || percent == 100)
                return;
            kill(copying.get(), SIGINT);
            EXPECT_TRUE(LogCapture::WaitFor("ManagedDevice::CancelCMD - Waiting for any active threads to close."));
        });
    started.set_value(Start("exec tarn-jobs copy --all --to back"));
    const Ended ended = End(copying.get());
    EXPECT_EQ(ended.exitCode, TarnJobs::exitCancelled) << ended.err;
    EXPECT_EQ(ended.out, "1 of 3 jobs, cancelled\n");
    EXPECT_EQ(service.Card("back").List().size(), 1u);
}

TEST_F(CommandLineTest, FailuresAreToldForPeopleAndForScripts) {
    EXPECT_EQ(Run("tarn-jobs open nothing").err,
              "tarn-jobs: Failed: Job ID not found (code 9). The device has no job with this ID. See \"list\".\n");
    EXPECT_EQ(Run("tarn-jobs open nothing --json").err,
              "{\"error\":\"Refused\",\"text\":\"Failed: Job ID not found\",\"exitCode\":109,\"code\":9}\n");
    EXPECT_TRUE(Matches(Run("tarn-jobs bogus --json").err, "{\"error\":\"WrongArguments\",*,\"exitCode\":2}\n"));
    EXPECT_EQ(Run("tarn-jobs media-id '' --json").err,
              "{\"error\":\"MalformedCall\",\"text\":\"Invalid media filepath\",\"exitCode\":5}\n");
    service.Stop();
    const Ended ended = Run("tarn-jobs list");
    EXPECT_EQ(ended.exitCode, TarnJobs::exitNotRunning);
    EXPECT_EQ(ended.err, "tarn-jobs: the jobs service is not running\n");
}

TEST_F(CommandLineTest, TextsForATerminalMoveNoCursor) {
    ASSERT_EQ(Code("SetTargetDeviceID", "front"), 0);
    CreateJob("Main \x1b[2J", "front");
    EXPECT_EQ(Run("tarn-jobs get name").out, "Main ?[2J\n");
    EXPECT_EQ(Run("tarn-jobs get name --json").out, "\"Main \\u001b[2J\"\n");
}

TEST_F(CommandLineTest, BashOffersWhatTheCommandsTake) {
    const auto offers = [this](const std::string& words, int at) {
        return Run("source <(tarn-jobs --completion bash); COMP_WORDS=(" + words +
                   "); COMP_CWORD=" + std::to_string(at) + "; _tarn_jobs; printf '%s\\n' \"${COMPREPLY[*]}\"")
            .out;
    };
    EXPECT_EQ(offers("tarn-jobs li", 1), "list\n");
    EXPECT_EQ(offers("tarn-jobs list --sort ''", 3), "created modified\n");
    EXPECT_EQ(offers("tarn-jobs --json copy --to ''", 4), "back front\n");
    EXPECT_EQ(offers("tarn-jobs get in", 2), "in-report\n");
    for (const TarnJobs::Command& command : TarnJobs::Commands()) {
        const std::string offered = offers(std::string("tarn-jobs ") + command.name + " -", 2);
        for (const TarnJobs::Argument& argument : command.arguments)
            for (const std::string& name : argument.Names())
                EXPECT_TRUE(!argument.IsOption() || offered.find(name) != std::string::npos) << command.name << name;
    }
}

} // namespace
} // namespace Testing

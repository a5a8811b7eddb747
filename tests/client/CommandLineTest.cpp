#include "Command.h"
#include "ExitCodes.h"
#include "Terminal.h"
#include "client/Terminal.h"
#include "device/FindingJobsTest.h"
#include "device/ManagedDevice.h"
#include "simulator/Handles.h"
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

/// What a line of a shell has left behind. On a terminal both outputs are one, which is `out`.
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

bool IsOneLine(const std::string& text) { return text.find('\n') == text.size() - 1; }

class CommandLineTest : public FindingJobsTest {
protected:
    CommandLineTest() {
        const std::filesystem::path program(TARN_JOBS);
        setenv("PATH", (program.parent_path().string() + ":" + getenv("PATH")).c_str(), 1);
        setenv("TERM", "xterm", 1);
        setenv("TZ", "UTC", 1);
    }

    pid_t Start(const std::string& line) {
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        const int flags = O_WRONLY | O_CREAT | O_TRUNC;
        posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
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

    /// Three jobs on the front card, and a copy of them that tells its progress job by job, with `onFirst` between the
    /// first job and the second.
    void PutThreeJobs(std::function<void()> onFirst) {
        for (const char* id : {"A", "B", "C"})
            PutJob(id, JobDocument(id));
        FindJobs();
        Unit().Settings().Set("jobs", "multiJobMoveCopyUpdatePeriod", uint32_t{0});
        SettleSettings();
        service.Device("front")->_jobListCopyProgress.Connect(
            [onFirst](JobsManagerD::ManagedDevice&, const std::string&, int32_t percent, int32_t done, int32_t) {
                if (done == 1 && percent < 100)
                    onFirst();
            });
    }

    TemporaryFolder folder;
};

/// A line, how it ends, and what it prints on either output; what it prints may go into a variable for the lines after
/// it. A line that fails prints nothing but one line on standard error.
struct Row {
    std::string line;
    std::string output;
    int exitCode = 0;
    std::string variable = "";
    std::string errors = "";
};

// The life of a job. Together the lines have every command, each with --json, too.
const Row rows[] = {
    {"tarn-jobs devices", "   DEVICE  STATE  JOBS  OLDER JOBS  CURRENT JOB\n   back    Idle   0     0\n*  front *\n"},
    {"tarn-jobs devices --json", "[{\"id\":\"back\",\"isTarget\":false,\"state\":\"Idle\",*\"nMatches\":0}}]\n"},
    {"tarn-jobs target", "front\n"},
    {"tarn-jobs target back", "back\n"},
    {"tarn-jobs target nowhere", "", 32},
    {"tarn-jobs create 'Main Street' -d front", "*-*\n", 0, "job"},
    {"tarn-jobs current", "$job\n"},
    {"tarn-jobs --json current", "{\"id\":\"$job\",\"device\":\"front\"}\n"},
    {"tarn-jobs create", "", 45},
    {"tarn-jobs folder", "/*/Main Street-*\n"},
    {"tarn-jobs set name 'Side Street'", ""},
    {"tarn-jobs get name --device=front", "Side Street\n"},
    {"echo -n Roots and joints | tarn-jobs set notes -", ""},
    {"tarn-jobs get notes --json", "\"Roots and joints\"\n"},
    {"tarn-jobs get notes -j 'Side Street' && tarn-jobs get notes -j ${job:0:9}",
     "Roots and joints\nRoots and joints\n"},
    {"tarn-jobs get notes -j ${job:0:3}", "", 39},
    {"tarn-jobs set private-notes -- '-5'", ""},
    {"tarn-jobs get private-notes", "-5\n"},
    {"tarn-jobs get private-notes.x", "", 2},
    {"tarn-jobs set user-data '[1,{\"a\":\"b\"}]' --json", "{\"code\":0,\"text\":\"Succeeded\"}\n"},
    {"tarn-jobs get user-data", "- 1\n-\n  a: b\n"},
    {"tarn-jobs set user-data.1.a '{\"c\":2}' && tarn-jobs get user-data --json", "[1,{\"a\":{\"c\":2}}]\n"},
    {"tarn-jobs set user-data.x.y 1", "", 2},
    {"tarn-jobs set customer '{\"lastName\":\"Berg\"}'", ""},
    {"tarn-jobs get customer --json", "{\"lastName\":\"Berg\"}\n"},
    {"tarn-jobs set customer.firstName Ada && tarn-jobs get customer --json",
     "{\"firstName\":\"Ada\",\"lastName\":\"Berg\"}\n"},
    {"tarn-jobs get customer.lastName && tarn-jobs get customer.firstName --json", "Berg\n\"Ada\"\n"},
    {"tarn-jobs get customer.phones.mobile --json", "null\n"},
    {"tarn-jobs set address '{\"street\":'", "", 49},
    {"tarn-jobs set address '{\"street\":\"Main\"}' && tarn-jobs clear address --json && tarn-jobs get address --json",
     "{\"code\":0,\"text\":\"Succeeded\"}\n{}\n"},
    {"tarn-jobs clear notes", "", 2},
    {"tarn-jobs set locked true && tarn-jobs get locked", "true\n"},
    {"tarn-jobs set locked maybe", "", 2},
    {"tarn-jobs add-contact '{\"firstName\":\"Tom\"}'", "1\n"},
    {"tarn-jobs add-contact '{\"firstName\":\"Tom\",\"lastName\":\"Reed\"}' --json", "{\"id\":2}\n"},
    {"tarn-jobs update-contact '{\"id\":1,\"firstName\":\"Tim\"}' && tarn-jobs contact 1", "firstName: Tim\nid: 1\n"},
    {"tarn-jobs update-contact '{\"id\":1,\"firstName\":\"Tim\"}' --json", "{\"code\":0,*}\n"},
    {"tarn-jobs contact 'Tom Reed'", "*id: 2\nlastName: Reed\n"},
    {"tarn-jobs remove-contact 2 --json", "{\"code\":0,*}\n"},
    {"tarn-jobs contacts --json -j $job", "[{\"firstName\":\"Tim\",\"id\":1}]\n"},
    {"tarn-jobs remove-contact Tim && tarn-jobs contact 1", "", 53},
    {"tarn-jobs contact 256", "", 2},
    {"tarn-jobs new-media", "*/media/*\n", 0, "new"},
    {"echo picture >\"$new.jpg\" && tarn-jobs add snapshot Joint \"$new.jpg\" --roll -3 --distance 1250 -250", "*-*\n",
     0, "media"},
    {"tarn-jobs add snapshot Again \"$new.jpg\"", "*-*\n", 0, "again"},
    {"tarn-jobs add snapshot Third \"$new.jpg\" --json", "{\"id\":\"*\"}\n"},
    {"[ $media != $again ] && tarn-jobs get name -m $again", "Again\n"},
    {"tarn-jobs add snapshot Gone \"$new-gone.jpg\"", "", 2},
    {"tarn-jobs add snapshot Foreign /etc/passwd", "", 2},
    {"for part in mp4 rec jpg; do echo $part >\"$new-v.$part\"; done", ""},
    {"cd \"$(dirname \"$new\")\" && n=$(basename \"$new\") && tarn-jobs add video Run \"$n-v\".{mp4,rec,jpg}", "*-*\n"},
    {"tarn-jobs add video Run \"$new-v.mp4\" '' \"$new-v.jpg\"", "", 2},
    {"tarn-jobs add autolog Run \"$new-v.mp4\"", "", 2},
    {"tarn-jobs add snapshot Joint \"$new.jpg\" more", "", 2},
    {"tarn-jobs media-id \"$new-v.mp4\" --json", "{\"id\":\"*\"}\n"},
    {"tarn-jobs media-id \"$new.none\"", "", 40},
    {"tarn-jobs update-sizes \"$new.jpg\"", ""},
    {"tarn-jobs update-sizes \"$new.jpg\" --json", "{\"code\":0,*}\n"},
    {"tarn-jobs counts", "total: 4\nautologs: 0\nimages: 3\nphotoTalks: 0\nvideos: 1\n"},
    {"tarn-jobs counts -d front -j $job --json", "{\"total\":4,*}\n"},
    {"tarn-jobs show -m $media", "cameraRollAngle: -3\ndistance:\n  absolute: 1250\n  relative: -250\nfiles:\n*"},
    {"tarn-jobs show -m Joint", "cameraRollAngle: -3\n*"},
    {"tarn-jobs show", "*id: $job\n*"},
    {"tarn-jobs set notes Cracked -m $media && tarn-jobs get notes -m $media", "Cracked\n"},
    {"tarn-jobs set in-report true -m $media && tarn-jobs get in-report -m $media --json", "true\n"},
    {"tarn-jobs get locked -m $media", "", 2},
    {"tarn-jobs delete-media Again --dry-run", "*name: Again\n*"},
    {"tarn-jobs delete-media Again --yes --json", "{\"code\":0,*}\n"},
    {"tarn-jobs delete-media $media -y && tarn-jobs show -m $media", "", 40},
    {"tarn-jobs close", "$job\n"},
    {"tarn-jobs close", "", 37},
    {"tarn-jobs open unknown", "", 39},
    {"tarn-jobs open 'Side Street' -d front --json && tarn-jobs close --json",
     "{\"id\":\"$job\",*\n{\"id\":\"$job\"}\n"},
    {"tarn-jobs create 'Side Street' -d front --json && tarn-jobs close", "{\"id\":\"*\",*}\n*\n"},
    {"tarn-jobs get name -j 'Side Street'", "", 2},
    {"tarn-jobs delete $(tarn-jobs list -d front --limit 1 | tail -n 1 | cut -d' ' -f1) -d front", "1 of 1 jobs\n"},
    {"tarn-jobs stats", "jobs: 1\nolder jobs: 0\nolder jobs at the last index run: 0\n"},
    {"tarn-jobs index --json", "{\"nRuvoJobs\":1,*}\n"},
    {"tarn-jobs index --no-wait -d nowhere", "", 32},
    {"tarn-jobs convert -d nowhere", "", 32},
    {"tarn-jobs convert --json", "{\"nRuvoJobs\":1,\"nTamsyJobs\":0,\"nTamsyJobsAtReIndex\":0}\n"},
    {"tarn-jobs search roots --in notes --limit 1 --json", "[{\"id\":\"$job\",*\"matchResult\":{\"term\":\"Roots*"},
    {"tarn-jobs search roots --case-sensitive --match starts", "JOB  CREATED  CHANGED  MEDIA  BYTES  NAME  FOUND\n"},
    {"tarn-jobs search Berg --in customer.lastName --match exactly", "JOB*FOUND\n$job *  Side Street  Berg\n"},
    {"tarn-jobs search Berg", "JOB*FOUND\n$job *  Side Street  customer.lastName: Berg\n"},
    {"tarn-jobs search-stats", "found: 1\nsearched for: Berg\nin: everywhere\nmatch: contains\n*: none\n"},
    {"tarn-jobs results --start 1", "", 59},
    {"tarn-jobs results", "JOB*\n$job *\n"},
    {"tarn-jobs search nothing --no-wait && tarn-jobs search nothing --no-wait --json", "{\"code\":0,*}\n"},
    {"tarn-jobs cancel", ""},
    {"tarn-jobs cancel --json", "{\"code\":0,\"text\":\"Succeeded\"}\n"},
    {"tarn-jobs copy $job --to back --dry-run", "JOB *\n$job *  Side Street  would be copied\n"},
    {"tarn-jobs copy 'Side Street' --to back", "1 of 1 jobs\n"},
    {"tarn-jobs copy $job --to back", "", 58},
    {"tarn-jobs move $job --to back --dry-run --json", "[{\"id\":\"$job\",*,\"code\":17,*}]\n"},
    {"tarn-jobs move $job unknown --to back", "0 of 2 jobs\n", 1, "",
     "tarn-jobs: $job: Failed: Cannot delete/move locked job (code 17). Unlock*\n"
     "tarn-jobs: unknown: Failed: Job ID not found (code 9). *\n"},
    {"tarn-jobs delete --all -d back --yes --json",
     "{\"device\":\"back\",\"destination\":\"\",\"isCancelled\":false,\"done\":0,\"total\":1,\"errors\":[{\"job\":"
     "\"$job\",\"code\":17,\"text\":\"Failed: Cannot delete/move locked job\"}]}\n",
     1, "", "{\"error\":\"Refused\",*,\"exitCode\":47,\"code\":17,\"job\":\"$job\"}\n"},
    {"tarn-jobs set locked false -j $job -d back && tarn-jobs delete --all -y -d back", "1 of 1 jobs\n"},
    {"tarn-jobs delete --all -d back --yes --json", "{*\"done\":0,\"total\":0,\"errors\":[]}\n"},
    {"tarn-jobs set locked false -j $job -d front && tarn-jobs move $job -d front --to back --json",
     "{*\"done\":1,*}\n"},
    {"tarn-jobs move 'Side Street' -d back --to front", "1 of 1 jobs\n"},
    {"tarn-jobs copy --all --to back --no-wait --json && tarn-jobs cancel", "{\"code\":0,\"text\":\"Succeeded\"}\n"},
    {"tarn-jobs move --all", "", 2},
    {"tarn-jobs delete $job --all", "", 2},
    {"tarn-jobs --json list", "[{\"id\":\"$job\",*\"name\":\"Side Street\",*}]\n"},
    {"TZ=XYZ-3 tarn-jobs list && TZ=XYZ-3 tarn-jobs list --utc", "JOB*\n$job *-* *:* *\nJOB*\n$job *-*T*Z *\n"},
    {"tarn-jobs list --sort modified --ascending --start 1", "", 59},
    {"tarn-jobs list --sort size", "", 2},
    {"tarn-jobs status", "Client:      1.0.0, library 1.0.0\nService:     running as process *, version unknown\n*"},
    {"tarn-jobs raw GetJobName front $job", "0\nSide Street\n"},
    {"tarn-jobs raw GetJobList front 0 0 0 256 && tarn-jobs raw DeleteJobList nowhere a b", "0\n[{*}]\n2\n"},
    {"tarn-jobs raw GetJobList front 0 256 0 0", "", 5},
    {"tarn-jobs raw Explode", "", 5},
    {"tarn-jobs bogus", "", 2},
    {"tarn-jobs", "", 2},
    {"tarn-jobs --address unix:path=/nonexistent list", "", 3},
    {"tarn-jobs help", "Works with *Devices:\n*"},
    {"tarn-jobs help list && tarn-jobs set -h",
     "List the jobs of a device.\n*Set a field*\nUsage: tarn-jobs set FIELD VALUE [--device DEVICE]*"},
    {"tarn-jobs --version && tarn-jobs --version --json",
     "tarn-jobs 1.0.0\n{\"name\":\"tarn-jobs\",\"version\":\"1.0.0\",*}\n"},
    {"tarn-jobs list >/dev/full", "", 8},
    {"tarn-jobs list >&-", "", 8},
    {"tarn-jobs --help >/dev/full", "", 8},
    {"tarn-jobs set notes Quiet -d front -j $job >&-", ""},
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

/// All lines once in pipes, and once on a terminal.
class EveryCommandTest : public CommandLineTest, public testing::WithParamInterface<bool> {
protected:
    Ended RunThere(const std::string& line) {
        if (!GetParam())
            return Run(line);
        OnTerminal terminal("cd " + folder.Path().string() + "; " + line);
        const int exitCode = terminal.End();
        return {exitCode, terminal.Screen(), ""};
    }

    void CheckSuccess(const Row& row, const Ended& ended) {
        const std::string output = row.variable.empty() ? Expanded(row.output) : "*-*\n";
        const std::string errors = Expanded(row.errors);
        EXPECT_TRUE(Matches(ended.out, GetParam() ? errors + output : output)) << row.line << '\n' << ended.out;
        EXPECT_TRUE(GetParam() || Matches(ended.err, errors)) << row.line << '\n' << ended.err;
        if (!row.variable.empty())
            setenv(row.variable.c_str(), ended.out.substr(0, ended.out.size() - 1).c_str(), 1);
        if (row.line.find("--json") == std::string::npos)
            return;
        std::istringstream lines(ended.out);
        for (std::string line; std::getline(lines, line);)
            EXPECT_TRUE(Json::accept(line) || row.line.find("&&") != std::string::npos) << row.line << '\n' << line;
    }

    /// The same line fails with --json in the same way.
    void CheckFailure(const Row& row, const Ended& ended) {
        const std::string& told = GetParam() ? ended.out : ended.err;
        EXPECT_TRUE(told.starts_with("tarn-jobs: ") && IsOneLine(told)) << row.line << '\n' << told;
        EXPECT_TRUE(GetParam() || ended.out.empty() || row.line.find("&&") != std::string::npos) << row.line;
        const size_t last = row.line.rfind("&& ");
        const Ended asJson = RunThere(row.line.substr(last == std::string::npos ? 0 : last + 3) + " --json");
        const std::string& json = GetParam() ? asJson.out : asJson.err;
        if (!IsOneLine(json) || !Json::accept(json))
            FAIL() << row.line << '\n' << json;
        EXPECT_EQ(Json::parse(json, nullptr, false).value("exitCode", -1), row.exitCode) << row.line;
    }

    /// Commands that change nothing are tried with --json, too.
    void CheckJson(const Row& row, const std::string& command) {
        static const std::set<std::string> readers{"show",   "folder", "counts",  "contact",      "contacts",
                                                   "stats",  "list",   "results", "search-stats", "new-media",
                                                   "status", "raw",    "target"};
        const bool isAlone = row.line.find_first_of("&|;") == std::string::npos;
        if (!readers.contains(command) || !isAlone || row.line.find("--json") != std::string::npos)
            return;
        const Ended ended = RunThere(row.line + " --json");
        EXPECT_TRUE(ended.exitCode == 0 && IsOneLine(ended.out) && Json::accept(ended.out)) << row.line << ended.out;
        calledWithJson.insert(command);
    }

    std::set<std::string> calledWithJson{"watch", "help"}; // the first has a test of its own, the other no result
};

TEST_P(EveryCommandTest, DoesItsWork) {
    for (const Row& row : rows) {
        const Ended ended = RunThere(row.line);
        EXPECT_EQ(ended.exitCode, row.exitCode) << row.line << '\n' << ended.out << ended.err;
        row.exitCode > 1 ? CheckFailure(row, ended) : CheckSuccess(row, ended);
        for (size_t at = row.line.find("tarn-jobs "); at != std::string::npos;
             at = row.line.find("tarn-jobs ", at + 1)) {
            const std::string part = row.line.substr(at + 10, row.line.find_first_of(";&|", at + 10) - at - 10);
            const std::string command = part.substr(0, part.find(' '));
            if (row.exitCode == 0)
                CheckJson(row, command);
            if (row.exitCode == 0 && part.find("--json") != std::string::npos)
                calledWithJson.insert(part.starts_with("--json ") ? part.substr(7) : command);
        }
    }
    for (const TarnJobs::Command& command : TarnJobs::Commands())
        EXPECT_TRUE(calledWithJson.contains(command.name)) << command.name;
}

INSTANTIATE_TEST_SUITE_P(CommandLine, EveryCommandTest, testing::Bool(),
                         [](const auto& place) { return place.param ? "OnATerminal" : "InPipes"; });

TEST_F(CommandLineTest, WatchTellsEverySignal) {
    const pid_t watching = Start("tarn-jobs watch -n 1; exec tarn-jobs watch --json --device front");
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
    EXPECT_TRUE(Matches(ended.out, "20*-*-* *:*:*  PropertyChanged  property=TargetDeviceID  value=back\n"
                                   R"({"time":"20*Z",*"event":"JobChanged","device":"front","summary":{*"name":"B",*)" +
                                       closed + "\n"))
        << ended.out;
    EXPECT_EQ(ended.out.find("TargetDeviceID\",\"value\":\"front"), std::string::npos) << "is none of the device";
}

TEST_F(CommandLineTest, LongWorkIsWaitedFor) {
    Simulator::MakeLegacyCard(service.MakeCard("older").Path(), {.jobs = 3});
    service.InsertCard("older");
    ASSERT_TRUE(service.WaitForDeviceProperty("older", "DeviceState", "Idle"));
    const auto stats = [](int jobs, int older, int before) {
        return "{\"nRuvoJobs\":" + std::to_string(jobs) + ",\"nTamsyJobs\":" + std::to_string(older) +
               ",\"nTamsyJobsAtReIndex\":" + std::to_string(before) + "}\n";
    };
    EXPECT_EQ(Run("tarn-jobs stats -d older --json").out, stats(0, 3, 3));
    EXPECT_EQ(Run("tarn-jobs convert -d older --json").out, stats(3, 0, 3));
    EXPECT_EQ(Run("tarn-jobs index -d older --json").out, stats(3, 0, 0));
}

/// The service has the cancellation in hand before the second job begins.
void ExpectCancelling() {
    EXPECT_TRUE(LogCapture::WaitFor("ManagedDevice::CancelCMD - Waiting for any active threads to close."));
}

TEST_F(CommandLineTest, CtrlCCancelsWorkOnManyJobs) {
    std::promise<OnTerminal*> started;
    const std::shared_future<OnTerminal*> copying = started.get_future().share();
    PutThreeJobs([copying] {
        copying.get()->Type("\x03");
        ExpectCancelling();
    });
    OnTerminal terminal("exec tarn-jobs copy --all --to back", 60);
    started.set_value(&terminal);
    EXPECT_EQ(terminal.End(), TarnJobs::exitCancelled);
    EXPECT_EQ(terminal.Screen(), "1 of 3 jobs, cancelled\n") << "the line of the bar is clean";
    EXPECT_NE(terminal.Bytes().find("copied 1 of 3 jobs, cancelling after this job"), std::string::npos);
    EXPECT_EQ(service.Card("back").List().size(), 1u);
}

TEST_F(CommandLineTest, ADeviceThatGoesAwayHasACodeOfItsOwn) {
    std::string pulled;
    PutThreeJobs([this, &pulled] {
        LogCapture::Take();
        Unit().Storage().UnmountCard(pulled);
        EXPECT_TRUE(LogCapture::WaitFor(pulled == "front" ? "ManagedDevice::_Cancel - Waiting for any active"
                                                          : "ManagedDevice::Cancel - Complete."));
    });
    for (const std::string card : {"back", "front"}) {
        pulled = card;
        const Ended ended = Run("tarn-jobs copy --all --device front --to back");
        EXPECT_EQ(ended.exitCode, TarnJobs::exitDeviceGone) << ended.out << ended.err;
        service.InsertCard(card);
        ASSERT_TRUE(service.WaitForDeviceProperty(card, "DeviceState", "Idle"));
        EXPECT_EQ(Run("tarn-jobs delete --all --yes --device back").exitCode, 0);
    }
}

TEST_F(CommandLineTest, DeletionsAskOnATerminal) {
    PutThreeJobs([] {});
    EXPECT_EQ(Run("tarn-jobs delete --all").exitCode, TarnJobs::exitWrongArguments);
    struct Answer {
        const char* typed;
        int exitCode;
        size_t left;
    };
    for (const Answer& answer : {Answer{"n\n", 2, 3}, Answer{"\n", 2, 3}, Answer{"\x04", 2, 3}, Answer{"y\n", 0, 0}}) {
        OnTerminal terminal("tarn-jobs delete --all");
        EXPECT_TRUE(terminal.WaitFor("Delete all 3 jobs of \"front\"? [y/N] "));
        terminal.Type(answer.typed);
        EXPECT_EQ(terminal.End(), answer.exitCode) << terminal.Screen();
        EXPECT_EQ(service.Card("front").List().size(), answer.left) << answer.typed;
    }
    const CreatedJob job = CreateJob("A");
    const std::string item = AddSnapshot(job, "joint.jpg");
    OnTerminal terminal("tarn-jobs delete-media " + item);
    EXPECT_TRUE(terminal.WaitFor("with its files? [y/N] "));
    terminal.Type("n\n");
    EXPECT_EQ(terminal.End(), 2);
    EXPECT_EQ(Run("tarn-jobs delete-media " + item).exitCode, 0) << "a script is not asked for one item";
}

TEST_F(CommandLineTest, TheBarFitsItsTerminal) {
    PutThreeJobs([] {});
    for (const uint16_t columns : {uint16_t{20}, uint16_t{45}, uint16_t{120}}) {
        OnTerminal terminal("tarn-jobs copy --all --to back", columns);
        EXPECT_EQ(terminal.End() + 0, columns == 20 ? 0 : 1) << terminal.Screen();
        const std::string& bytes = terminal.Bytes();
        for (size_t at = 0; (at = bytes.find("\x1b[K", at)) != std::string::npos;) {
            at += 3;
            const size_t end = bytes.find_first_of("\r\n", at);
            EXPECT_TRUE(bytes[end] == '\n' || end - at < columns) << bytes.substr(at, 200);
        }
        EXPECT_EQ(bytes.find("[####") != std::string::npos, columns > 20) << bytes;
    }
    OnTerminal dumb("TERM=dumb tarn-jobs delete A -d front");
    EXPECT_EQ(dumb.End(), 0);
    EXPECT_EQ(dumb.Bytes(), "1 of 1 jobs\n");
    OnTerminal coloured("tarn-jobs open X; NO_COLOR=1 tarn-jobs open X");
    EXPECT_EQ(coloured.End(), 39);
    EXPECT_TRUE(Matches(coloured.Bytes(), "\x1b[31mtarn-jobs:\x1b[0m Failed*\ntarn-jobs: Failed*\n"))
        << coloured.Bytes();
}

TEST_F(CommandLineTest, FailuresAreToldForPeopleAndForScripts) {
    EXPECT_EQ(Run("tarn-jobs open nothing").err,
              "tarn-jobs: Failed: Job ID not found (code 9). The device has no job with this ID. See \"list\".\n");
    EXPECT_EQ(Run("tarn-jobs open nothing --json").err,
              "{\"error\":\"Refused\",\"text\":\"Failed: Job ID not found\",\"exitCode\":39,\"code\":9}\n");
    EXPECT_EQ(Run("tarn-jobs media-id '' --json").err,
              "{\"error\":\"MalformedCall\",\"text\":\"Invalid media filepath\",\"exitCode\":5}\n");
    EXPECT_EQ(Run("tarn-jobs lsit").err, "tarn-jobs: there is no command \"lsit\"; did you mean \"list\"?\n");
    EXPECT_EQ(Run("tarn-jobs list --devcie x").err,
              "tarn-jobs: there is no option \"--devcie\"; did you mean \"--device\"?\n");
    EXPECT_TRUE(Matches(Run("tarn-jobs get nmae").err, "*; did you mean \"name\"?\n"));
    const std::string busless = "env -u DBUS_SESSION_BUS_ADDRESS -u XDG_RUNTIME_DIR tarn-jobs create 'A B'";
    EXPECT_TRUE(Matches(Run(busless).err, geteuid() == 0
                                              ? "tarn-jobs: there is no user bus here. *: tarn-jobs --user * "
                                                "create 'A B'\n"
                                              : "tarn-jobs: there is no user bus here. *ype: *\n"));
    service.Stop();
    const Ended ended = Run("tarn-jobs list");
    EXPECT_EQ(ended.exitCode, TarnJobs::exitNotRunning);
    EXPECT_EQ(ended.err, "tarn-jobs: the jobs service is not running\n");
    EXPECT_EQ(Run("tarn-jobs status").exitCode, TarnJobs::exitNotRunning);
}

/// The bus library has another program lead to the bus of another user; here it leads to this one.
TEST_F(CommandLineTest, AnotherUsersBusIsReached) {
    folder.Write("bin/systemd-run", "#!/bin/sh\necho \"$@\" >" + (folder / "asked").string() +
                                        "\nexec systemd-stdio-bridge -p \"$BUS\"\n");
    std::filesystem::permissions(folder / "bin/systemd-run", std::filesystem::perms::owner_all);
    const Ended ended = Run("BUS=$DBUS_SESSION_BUS_ADDRESS PATH=" + (folder / "bin").string() +
                            ":$PATH tarn-jobs --user ada target; true");
    EXPECT_EQ(ended.out, "front\n") << ended.err;
    EXPECT_NE(folder.Read("asked").find("ada"), std::string::npos) << folder.Read("asked");
}

TEST_F(CommandLineTest, TextsForATerminalSteerNothing) {
    ASSERT_EQ(Code("SetTargetDeviceID", "front"), 0);
    const std::string name = "Main \x1b[2J\xC2\x9B\xE2\x80\xAE\xE6\x97\xA5";
    CreateJob(name, "front");
    EXPECT_EQ(Run("tarn-jobs get name").out, name + "\n");
    OnTerminal terminal("tarn-jobs get name; tarn-jobs get name --json");
    EXPECT_EQ(terminal.End(), 0);
    EXPECT_EQ(terminal.Bytes(), "Main ?[2J??\xE6\x97\xA5\n\"Main \\u001b[2J\xC2\x9B\xE2\x80\xAE\xE6\x97\xA5\"\n");
    EXPECT_EQ(TarnJobs::Terminal::WidthOf("\xE6\x97\xA5\xE6\x9C\xAC"
                                          "e\xCC\x81\xFF"),
              6u)
        << "two wide, one combined, one stray";
    EXPECT_EQ(TarnJobs::Terminal::Fitting("a\xE6\x97\xA5"
                                          "b",
                                          2),
              "a");
}

TEST_F(CommandLineTest, JsonIsWhatTheServiceSays) {
    CreateJob("A", "front");
    const std::string data = R"({"n":123456789012345678901234567890.10,"text":"\u00e4"})";
    ASSERT_EQ(Code("SetJobUserData", "", "", data), 0);
    const std::string told = std::get<1>(Text("GetJobUserData", "", ""));
    EXPECT_EQ(Run("tarn-jobs get user-data --json").out, told + "\n");
    EXPECT_EQ(Run("tarn-jobs show --json").out, std::get<1>(Text("GetJob", "", "")) + "\n");
}

/// What is offered after the words, as each shell asks for it. A case for a shell is left out where it is not
/// installed.
TEST_F(CommandLineTest, ShellsOfferWhatTheCommandsTake) {
    const std::string job = CreateJob("Main Street", "front").id;
    ASSERT_EQ(CloseJob(), 0);
    const auto inBash = [](const std::string& words, int at) {
        return "source " TARN_COMPLETION "/tarn-jobs.bash; COMP_WORDS=(" + words +
               "); COMP_CWORD=" + std::to_string(at) + "; _tarn_jobs; printf '%s\\n' \"${COMPREPLY[*]}\"";
    };
    const auto inZsh = [](const std::string& words, int at) {
        return "zsh -c $'compdef() { }; _describe() { print -l -- \"${(@P)2}\" }; words=(" + words +
               "); CURRENT=" + std::to_string(at + 1) + "; source " TARN_COMPLETION "/_tarn-jobs'";
    };
    const auto inFish = [](const std::string& line) {
        return "fish -c 'source " TARN_COMPLETION "/tarn-jobs.fish; complete -C \"" + line + "\"'";
    };
    struct Case {
        std::string line;
        std::string offered;
    };
    const Case cases[] = {
        {inBash("tarn-jobs li", 1), "list\n"},
        {inBash("tarn-jobs list --sort ''", 3), "created modified\n"},
        {inBash("tarn-jobs --json copy --to = b", 5), "back\n"},
        {inBash("tarn-jobs get in", 2), "in-report\n"},
        {inBash("tarn-jobs set locked ''", 3), "true false\n"},
        {inBash("tarn-jobs open -d front ''", 4), job + "\n"},
        {inBash("tarn-jobs open -d front Ma", 4), "Main\\ Street\n"},
        {inBash("tarn-jobs open -d back ''", 4), "\n"},
        {inBash("tarn-jobs show -d front -j Main\\ Street --utc --m", 7), "--media\n"},
        {inZsh("tarn-jobs copy --to=b", 2), "--to=back:Idle\n"},
        {inZsh("tarn-jobs li", 1), "list:List the jobs of a device\n"},
        {inFish("tarn-jobs copy --to "), "back\tIdle\nfront\tIdle\n"},
        {inFish("tarn-jobs open -d front "), job + "\tMain Street\n"},
    };
    for (const Case& given : cases) {
        const std::string shell = given.line.substr(0, given.line.find(' '));
        if (shell != "source" && Run("command -v " + shell).exitCode != 0)
            continue;
        EXPECT_EQ(Run(given.line).out, given.offered) << given.line;
    }
    for (const TarnJobs::Command& command : TarnJobs::Commands()) {
        const std::string offered = Run(std::string("tarn-jobs __complete ") + command.name + " -").out;
        for (const TarnJobs::Argument& argument : command.arguments)
            for (const std::string& name : argument.Names())
                EXPECT_TRUE(!argument.IsOption() || offered.find(name + "\t") != std::string::npos)
                    << command.name << name;
    }

    // Somebody has the service's name who never answers.
    service.Stop();
    Simulator::Connection silent;
    ASSERT_GE(sd_bus_open_user(Simulator::Out(silent)), 0);
    ASSERT_GE(sd_bus_request_name(silent.get(), "com.corvane.common.JobsManagerDaemon1", 0), 0);
    EXPECT_EQ(Run("timeout 20 tarn-jobs __complete target ''").exitCode, 0) << "it ends by itself";
}

} // namespace
} // namespace Testing

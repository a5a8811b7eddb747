#include "peers/buslink/DbusServer.h"
#include "peers/PeerTesting.h"
#include "peers/buslink/Wire.h"
#include "support/BusClient.h"
#include "support/LogCapture.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <future>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <syslog.h>
#include <thread>

namespace Testing {
namespace {

constexpr const char* serverName = "com.corvane.test.Server1";
constexpr const char* serverPath = "/com/corvane/test/Server1";

/// A server whose one method runs what the test gives it, and then answers.
class TestServer : public Buslink::DbusServer {
public:
    explicit TestServer(sd_event* event) : DbusServer(serverName, serverPath, serverName, false, false, event) {
        AddVtableMethod("Work", "", "s", _OnWork, SD_BUS_VTABLE_UNPRIVILEGED);
        AddVtableSignal("Told", "iis", 0);
        AddVtablePropertyReadOnly("Count", "i", _GetCount, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE);
        for (const char* name : {"Notes", "MoreNotes"})
            AddVtablePropertyReadOnly(name, "s", _GetText, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE);
    }

    int Tell(int32_t worker, int32_t number, const std::string& text = {}) {
        return WithBus([&](sd_bus* connection) {
            return sd_bus_emit_signal(connection, serverPath, serverName, "Told", "iis", worker, number, text.c_str());
        });
    }
    int TellCount() {
        ++_count;
        return WithBus([](sd_bus* connection) {
            return sd_bus_emit_properties_changed(connection, serverPath, serverName, "Count", nullptr);
        });
    }
    /// Has every text property told.
    int TellTexts() {
        return WithBus([](sd_bus* connection) {
            return sd_bus_emit_properties_changed(connection, serverPath, serverName, "Notes", "MoreNotes", nullptr);
        });
    }
    int ManageObjects() {
        return WithBus([](sd_bus* connection) { return sd_bus_add_object_manager(connection, nullptr, "/"); });
    }
    /// As if the bus had ended.
    void BreakConnection() { shutdown(sd_bus_get_fd(bus), SHUT_RDWR); }

    std::function<void()> work = [] {}; ///< on the loop's thread
    std::function<std::string()> getText = [] { return std::string(); };

private:
    static int _OnWork(sd_bus_message* message, void* userData, sd_bus_error*) {
        auto& self = *static_cast<TestServer*>(static_cast<DbusServer*>(userData));
        self.work();
        return self.WithBus([message](sd_bus*) { return sd_bus_reply_method_return(message, "s", "done"); });
    }
    static int _GetCount(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void* userData,
                         sd_bus_error*) {
        const auto& self = *static_cast<TestServer*>(static_cast<DbusServer*>(userData));
        return sd_bus_message_append(reply, "i", self._count.load());
    }
    static int _GetText(sd_bus*, const char*, const char*, const char* name, sd_bus_message* reply, void* userData,
                        sd_bus_error* error) {
        auto& self = *static_cast<TestServer*>(static_cast<DbusServer*>(userData));
        return self.AnswerProperty(reply, name, error, self.getText);
    }

    std::atomic<int32_t> _count = 0;
};

/// Opened once, for all who wait.
class Gate {
public:
    void Open() {
        const std::lock_guard lock(_mutex);
        _isOpen = true;
        _opened.notify_all();
    }
    [[nodiscard]] bool Wait() {
        std::unique_lock lock(_mutex);
        return _opened.wait_for(lock, deadline, [this] { return _isOpen; });
    }

private:
    std::mutex _mutex;
    std::condition_variable _opened;
    bool _isOpen = false;
};

/// A server on a thread of its own, and a client that hears it.
class DbusServerTest : public testing::Test {
protected:
    DbusServerTest() {
        LogCapture::Take();
        Simulator::Check(loop.Run([this] { return server.Start(); }), "start the server");
    }
    ~DbusServerTest() override { loop.Stop(); }

    size_t CountSignals(const std::string& member) {
        const auto signals = client.Signals();
        return static_cast<size_t>(
            std::ranges::count_if(signals, [&](const Signal& signal) { return signal.member == member; }));
    }

    PrivateBus& bus = PrivateBus::Instance();
    Simulator::EventThread loop;
    TestServer server{loop.Loop()};
    BusClient client{serverName};
};

TEST_F(DbusServerTest, WorkersAreHeardWhileAHandlerSitsInALongCall) {
    constexpr int32_t workers = 4;
    constexpr int32_t signalsEach = 200;
    Gate gate;
    server.work = [&] {
        std::vector<std::thread> threads;
        for (int32_t worker = 0; worker < workers; ++worker)
            threads.emplace_back([this, worker] {
                for (int32_t number = 0; number < signalsEach; ++number)
                    EXPECT_GE(number % 10 == 0 ? server.TellCount() : server.Tell(worker, number), 0);
            });
        EXPECT_TRUE(gate.Wait());
        for (auto& thread : threads)
            thread.join();
    };
    auto reply = std::async(std::launch::async, [this] { return client.Call("Work"); });
    EXPECT_TRUE(client.WaitUntil([this] {
        return CountSignals("Told") == workers * signalsEach * 9 / 10 &&
               CountSignals("PropertiesChanged") == workers * signalsEach / 10;
    }));
    EXPECT_EQ(reply.wait_for(std::chrono::seconds(0)), std::future_status::timeout) << "answered before its end";
    gate.Open();
    EXPECT_EQ(reply.get().Read<std::string>(), "done");

    std::map<int32_t, int32_t> last;
    for (const Signal& signal : client.Signals()) {
        if (signal.member != "Told")
            continue;
        const auto [worker, number, text] = signal.arguments.Read<int32_t, int32_t, std::string>();
        EXPECT_TRUE(!last.contains(worker) || last[worker] < number) << signal.Text();
        last[worker] = number;
    }
    EXPECT_EQ(client.GetProperty(serverPath, serverName, "Count"), workers * signalsEach / 10);
}

/// The bus, stopped as long as this lives: it takes nothing in.
class StoppedBus {
public:
    explicit StoppedBus(pid_t process) : _process(process) { kill(_process, SIGSTOP); }
    StoppedBus(const StoppedBus&) = delete;
    StoppedBus& operator=(const StoppedBus&) = delete;
    ~StoppedBus() { kill(_process, SIGCONT); }

private:
    const pid_t _process;
};

TEST_F(DbusServerTest, WhatDoesNotFitTheSocketIsWrittenLaterByTheLoop) {
    BusClient busItself("org.freedesktop.DBus");
    const auto process = busItself.Call("GetConnectionUnixProcessID", std::string("org.freedesktop.DBus"));
    constexpr int32_t count = 32;
    {
        const StoppedBus stopped(static_cast<pid_t>(process.Read<uint32_t>()));
        for (int32_t number = 0; number < count; ++number)
            EXPECT_GE(server.Tell(0, number, std::string(1 << 20, 'x')), 0);
        uint64_t queued = 0;
        server.WithBus([&queued](sd_bus* connection) { return sd_bus_get_n_queued_write(connection, &queued); });
        ASSERT_GT(queued, 0u) << "all of it fitted";
    }
    ASSERT_TRUE(client.WaitUntil([this] { return CountSignals("Told") == count; }));
    const auto signals = client.Signals();
    for (int32_t number = 0; number < count; ++number)
        EXPECT_EQ(signals[static_cast<size_t>(number)].arguments.values.at(1), number);
}

TEST_F(DbusServerTest, AnIdleLoopDoesNotWake) {
    std::atomic<int> polls = 0;
    Simulator::EventSource counter;
    loop.Run([&] {
        const auto count = [](sd_event_source*, void* userData) {
            return ++*static_cast<std::atomic<int>*>(userData), 0;
        };
        const auto ignore = [](sd_event_source*, int, uint32_t, void*) { return 0; };
        sd_event_add_io(loop.Loop(), Simulator::Out(counter), eventfd(0, EFD_CLOEXEC), 0, ignore, &polls);
        sd_event_source_set_io_fd_own(counter.get(), true);
        sd_event_source_set_prepare(counter.get(), count);
    });
    ASSERT_EQ(client.Call("Work").Read<std::string>(), "done");
    ASSERT_GE(server.Tell(0, 0), 0);
    ASSERT_GT(polls.load(), 0);
    // The loop may still be on its way back to the poll; one that does not rest never leaves a gap.
    const auto isQuiet = [&polls] {
        const int before = polls;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        return polls == before;
    };
    EXPECT_TRUE(isQuiet() || isQuiet() || isQuiet());
    loop.Run([&counter] { counter.reset(); });
}

TEST_F(DbusServerTest, AnExceptionBecomesABusErrorAndTheServerLivesOn) {
    server.work = [] { throw std::runtime_error("no \xFF luck"); };
    const Reply failed = client.Call("Work");
    EXPECT_EQ(failed.ErrorName(), "org.freedesktop.DBus.Error.Failed");
    EXPECT_EQ(failed.ErrorMessage(), "no \xEF\xBF\xBD luck");
    EXPECT_EQ(LogCapture::Take(), (std::vector<LogLine>{{LOG_ERR, "Work: the call failed: no \xFF luck"}}));
    server.work = [] {};
    EXPECT_EQ(client.Call("Work").Read<std::string>(), "done");
}

TEST_F(DbusServerTest, PropertiesThatNoMessageTakesAreRefusedAndTheServerLivesOn) {
    ASSERT_GE(server.ManageObjects(), 0);
    const auto ask = [this](const std::string& path, const std::string& interface, const std::string& method,
                            const std::vector<Simulator::Value>& arguments = {}) {
        return client.CallOn(path, "org.freedesktop.DBus." + interface, method, arguments).ErrorMessage();
    };
    const auto askForAll = [&] {
        return std::pair(ask(serverPath, "Properties", "GetAll", {std::string(serverName)}),
                         ask("/", "ObjectManager", "GetManagedObjects"));
    };
    const auto askForOne = [&] {
        return ask(serverPath, "Properties", "Get", {std::string(serverName), std::string("Notes")});
    };
    const std::string refused = "Failed to build reply";
    // Each alone fits, not both; a byte that is no UTF-8 takes three.
    server.getText = [] { return std::string(size_t{6} << 20, '\xFF'); };
    EXPECT_EQ(askForOne(), "");
    EXPECT_EQ(askForAll(), std::pair(refused, refused));
    EXPECT_LT(server.TellTexts(), 0);
    server.getText = [] { return std::string(size_t{32} << 20, 'x'); };
    EXPECT_EQ(askForOne(), refused);
    server.getText = [] { return std::string(1000, 'x'); };
    EXPECT_EQ(askForAll(), std::pair(std::string(), std::string()));
    EXPECT_GE(server.TellTexts(), 0);

    LogCapture::Take();
    server.getText = []() -> std::string { throw std::runtime_error("no luck"); };
    EXPECT_EQ(askForOne(), "no luck");
    EXPECT_EQ(LogCapture::Take(), (std::vector<LogLine>{{LOG_ERR, "Notes: the call failed: no luck"}}));
    EXPECT_EQ(client.Call("Work").Read<std::string>(), "done");
}

TEST_F(DbusServerTest, ATakenNameFailsTheStart) {
    const auto event = NewLoop();
    TestServer second(event.get());
    EXPECT_EQ(second.Start(), -EEXIST);
    EXPECT_EQ(client.Call("Work").Read<std::string>(), "done");
}

TEST(DbusServerOnThisThreadTest, ACallThatCameDuringABlockingRequestIsServed) {
    const auto event = NewLoop();
    TestServer server(event.get());
    ASSERT_GE(server.Start(), 0);
    const auto caller = OpenBus();
    const auto ask = [](sd_bus* bus) {
        return sd_bus_call_method(bus, "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId", nullptr, nullptr,
                                  "");
    };
    bool isServed = false;
    server.work = [&isServed] { isServed = true; };
    ASSERT_GE(sd_bus_call_method_async(caller.get(), nullptr, serverName, serverPath, serverName, "Work", nullptr,
                                       nullptr, ""),
              0);
    // The bus has passed the call on when it answers the caller; the server then reads it before its own answer.
    ASSERT_GE(ask(caller.get()), 0);
    ASSERT_GE(server.WithBus(ask), 0);
    EXPECT_TRUE(ServeUntil(event.get(), [&isServed] { return isServed; }));
}

TEST(DbusServerOnThisThreadTest, TheLossOfTheBusEndsTheLoop) {
    LogCapture::Take();
    const auto event = NewLoop();
    TestServer server(event.get());
    ASSERT_GE(server.Start(), 0);
    server.BreakConnection();
    ASSERT_TRUE(ServeUntil(event.get(), [&event] { return sd_event_get_state(event.get()) == SD_EVENT_FINISHED; }));
    int exitCode = 0;
    ASSERT_GE(sd_event_get_exit_code(event.get(), &exitCode), 0);
    EXPECT_LT(exitCode, 0);
    EXPECT_EQ(LogCapture::Count(std::string(serverName) + " lost the message bus"), 1u);
    EXPECT_LT(server.Tell(0, 0), 0);
}

} // namespace
} // namespace Testing

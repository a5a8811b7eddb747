#include "peers/buslink/MainLoop.h"
#include "peers/PeerTesting.h"
#include "support/LogCapture.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <syslog.h>
#include <thread>
#include <vector>

namespace Testing {
namespace {

TEST(MainLoopTest, WhatAnyThreadPostsRunsOnTheLoopInItsOrder) {
    const auto event = NewLoop();
    Buslink::MainLoop loop;
    constexpr int each = 500;
    std::vector<int> ran;
    std::thread::id thread;
    loop.Post([&] { thread = std::this_thread::get_id(); });
    ASSERT_GE(loop.Attach(event.get()), 0);
    std::vector<std::thread> workers;
    for (int worker = 0; worker < 4; ++worker)
        workers.emplace_back([&, worker] {
            for (int number = 0; number < each; ++number)
                loop.Post([&ran, value = worker * each + number] { ran.push_back(value); });
        });
    EXPECT_TRUE(ServeUntil(event.get(), [&] { return ran.size() == 4 * each; }));
    for (auto& worker : workers)
        worker.join();
    EXPECT_EQ(thread, std::this_thread::get_id()) << "posted before there was a loop";
    for (int worker = 0; worker < 4; ++worker) {
        std::vector<int> own;
        std::ranges::copy_if(ran, std::back_inserter(own), [&](int value) { return value / each == worker; });
        EXPECT_TRUE(std::ranges::is_sorted(own)) << worker;
    }
}

TEST(MainLoopTest, WorkMayFailPostMoreAndComeTooLate) {
    LogCapture::Take();
    const auto before = OpenDescriptors();
    const auto event = NewLoop();
    auto loop = std::make_shared<Buslink::MainLoop>();
    ASSERT_GE(loop->Attach(event.get()), 0);
    bool ran = false;
    loop->Post([] { throw std::runtime_error("no luck"); });
    loop->Post([&] { loop->Post([&] { ran = true; }); });
    EXPECT_TRUE(ServeUntil(event.get(), [&] { return ran; }));
    EXPECT_EQ(LogCapture::Take(), (std::vector<LogLine>{{LOG_ERR, "Work for the main loop failed: no luck"}}));

    const auto kept = std::make_shared<int>();
    loop->Post([&ran, kept] { ran = false; });
    loop->Close();
    loop->Post([&ran, kept] { ran = false; });
    std::thread([loop, &ran, kept] { loop->Post([&ran, kept] { ran = false; }); }).join();
    loop->Wake();
    Simulator::Check(sd_event_run(event.get(), 0), "serve");
    EXPECT_TRUE(ran) << "dropped, not run";
    EXPECT_EQ(kept.use_count(), 1);
    EXPECT_EQ(OpenDescriptors(), before + 1) << "the loop's own";
}

} // namespace
} // namespace Testing

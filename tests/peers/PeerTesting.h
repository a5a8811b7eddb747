#pragma once

#include "simulator/Handles.h"
#include "support/Deadline.h"
#include "support/PrivateBus.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <iterator>

namespace Testing {

/// A connection of its own to the private bus.
inline Simulator::Connection OpenBus() {
    PrivateBus::Instance();
    Simulator::Connection bus;
    Simulator::Check(sd_bus_open_user(Simulator::Out(bus)), "open the bus");
    return bus;
}

inline Simulator::Event NewLoop() {
    PrivateBus::Instance();
    Simulator::Event event;
    Simulator::Check(sd_event_new(Simulator::Out(event)), "make a loop");
    return event;
}

/// A message as it arrives: `write(message)` fills it, then it is sealed and read from its start.
template <typename Write>
Simulator::Message SealedMessage(Write write) {
    const Simulator::Connection bus = OpenBus();
    Simulator::Message message;
    Simulator::Check(sd_bus_message_new_signal(bus.get(), Simulator::Out(message), "/a", "a.b", "C"), "make a message");
    Simulator::Check(write(message.get()), "fill the message");
    Simulator::Check(sd_bus_message_seal(message.get(), 1, 0), "seal the message");
    Simulator::Check(sd_bus_message_rewind(message.get(), true), "rewind the message");
    return message;
}

/// Serves the loop until the condition holds. False when the deadline passes first.
[[nodiscard]] inline bool ServeUntil(sd_event* loop, const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition() && std::chrono::steady_clock::now() < end)
        Simulator::Check(sd_event_run(loop, 100'000), "serve");
    return condition();
}

/// How many descriptors this process has open.
inline auto OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

} // namespace Testing

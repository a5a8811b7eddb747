// Tells which jobs change, in a loop of sd-event, until that many changes have come: watch-sd-event [CHANGES]

#include <libjobsdaemon/adapters/SdEvent.h>

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    using namespace libjobsdaemon;
    sd_event* loop = nullptr;
    if (sd_event_default(&loop) < 0)
        return EXIT_FAILURE;
    int result = EXIT_FAILURE;
    try {
        JobsManager jobs;
        long left = argc > 1 ? std::atol(argv[1]) : -1;
        const auto takeEvent = [&](const Event& event) {
            const auto* const changed = std::get_if<JobChanged>(&event);
            if (!changed)
                return;
            std::cout << changed->deviceID << ": changed " << changed->summary << std::endl;
            if (--left == 0)
                sd_event_exit(loop, EXIT_SUCCESS);
        };
        const SdEventSource source(loop, jobs, takeEvent, [&](int reason) { sd_event_exit(loop, reason); });
        std::cout << "Listening." << std::endl;
        result = sd_event_loop(loop);
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
    }
    sd_event_unref(loop);
    return result;
}

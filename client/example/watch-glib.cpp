// Tells which jobs change, in a loop of GLib, until that many changes have come: watch-glib [CHANGES]

#include <libjobsdaemon/adapters/GLib.h>

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    using namespace libjobsdaemon;
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    int result = EXIT_FAILURE;
    try {
        JobsManager jobs;
        long left = argc > 1 ? std::atol(argv[1]) : -1;
        const auto takeEvent = [&](const Event& event) {
            const auto* const changed = std::get_if<JobChanged>(&event);
            if (!changed)
                return;
            std::cout << changed->deviceID << ": changed " << changed->summary << std::endl;
            if (--left == 0) {
                result = EXIT_SUCCESS;
                g_main_loop_quit(loop);
            }
        };
        const GLibSource source(nullptr, jobs, takeEvent, [&](int) { g_main_loop_quit(loop); });
        std::cout << "Listening." << std::endl;
        g_main_loop_run(loop);
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
    }
    g_main_loop_unref(loop);
    return result;
}

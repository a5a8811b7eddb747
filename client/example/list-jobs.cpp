// Lists the jobs of all devices, and with an argument then tells what happens, until that many events have come:
//     list-jobs [EVENTS]

#include <libjobsdaemon/JobsManager.h>

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    using namespace libjobsdaemon;
    try {
        JobsManager jobs;
        jobs.Subscribe();
        for (const Device& device : jobs.Devices()) {
            const TextResult list = jobs.GetJobList(device.id, SortBy::creation, Order::descending, 0, 0);
            const bool isRead = list.code == JOBS_RTN_SUCCEEDED;
            std::cout << device.id << ": " << (isRead ? list.text.c_str() : ReturnCodeText(list.code)) << std::endl;
        }
        for (long left = argc > 1 ? std::atol(argv[1]) : 0; left > 0;)
            for (const Event& event : jobs.WaitForEvents(std::chrono::hours(1))) {
                if (const auto* changed = std::get_if<JobChanged>(&event))
                    std::cout << changed->deviceID << ": changed " << changed->summary << std::endl;
                --left;
            }
        return EXIT_SUCCESS;
    } catch (const Error& error) {
        std::cerr << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}

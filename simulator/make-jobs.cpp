#include "simulator/CardMaker.h"
#include "simulator/LegacyCardMaker.h"

#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string_view>

namespace {

constexpr const char* usage =
    "Usage: tarn-make-jobs [--legacy] FOLDER COUNT [BYTES-OF-EACH-MEDIA-FILE [MEDIA-PER-JOB]]\n";

template <typename Plan>
Plan ReadPlan(int argc, char** argv, size_t Plan::*mediaPerJob) {
    Plan plan;
    plan.jobs = std::stoul(argv[2]);
    if (argc > 3)
        plan.mediaFileBytes = std::stoul(argv[3]);
    if (argc > 4)
        plan.*mediaPerJob = std::stoul(argv[4]);
    return plan;
}

} // namespace

/// Fills a folder with jobs, or with jobs of the earlier generation.
int main(int argc, char** argv) try {
    const bool isLegacy = argc > 1 && std::string_view(argv[1]) == "--legacy";
    if (isLegacy) {
        --argc;
        ++argv;
    }
    if (argc < 3 || argc > 5) {
        std::cerr << usage;
        return EXIT_FAILURE;
    }
    if (isLegacy)
        Simulator::MakeLegacyCard(argv[1], ReadPlan(argc, argv, &Simulator::LegacyCardPlan::bookmarksPerJob));
    else
        Simulator::MakeCard(argv[1], ReadPlan(argc, argv, &Simulator::CardPlan::mediaPerJob));
    return EXIT_SUCCESS;
} catch (const std::exception& failure) {
    std::cerr << "tarn-make-jobs: " << failure.what() << '\n';
    return EXIT_FAILURE;
}

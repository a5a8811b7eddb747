#include "simulator/CardMaker.h"

#include <cstdlib>
#include <iostream>
#include <stdexcept>

/// Fills a folder with jobs: tarn-make-jobs FOLDER COUNT [BYTES-OF-EACH-MEDIA-FILE [MEDIA-PER-JOB]]
int main(int argc, char** argv) try {
    if (argc < 3 || argc > 5) {
        std::cerr << "Usage: tarn-make-jobs FOLDER COUNT [BYTES-OF-EACH-MEDIA-FILE [MEDIA-PER-JOB]]\n";
        return EXIT_FAILURE;
    }
    Simulator::CardPlan plan;
    plan.jobs = std::stoul(argv[2]);
    if (argc > 3)
        plan.mediaFileBytes = std::stoul(argv[3]);
    if (argc > 4)
        plan.mediaPerJob = std::stoul(argv[4]);
    Simulator::MakeCard(argv[1], plan);
    return EXIT_SUCCESS;
} catch (const std::exception& failure) {
    std::cerr << "tarn-make-jobs: " << failure.what() << '\n';
    return EXIT_FAILURE;
}

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Simulator {

/// What the jobs of a made card are like. The same settings make the same card.
struct CardPlan {
    size_t jobs = 0;
    /// Each with three files; with 12 of them a job file has about 8 kB.
    size_t mediaPerJob = 12;
    /// Size of each media file; without, no media files are made.
    size_t mediaFileBytes = 0;
    /// A backup beside each job file.
    bool withBackups = true;
    /// One in 16, which cannot be deleted or moved.
    bool withLockedJobs = true;
    uint32_t seed = 1;
};

/// Fills a folder with job folders as the service makes them, named by the minute of their creation, with customers,
/// addresses, notes, private notes in some, contacts and media. Throws std::runtime_error when it cannot write.
void MakeCard(const std::string& folder, const CardPlan& plan);

} // namespace Simulator

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Simulator {

/// What the jobs of a made card of the earlier generation are like. The same settings make the same card.
struct LegacyCardPlan {
    size_t jobs = 0;
    /// Of the four types in turn, spread over two segments, each with its files.
    size_t bookmarksPerJob = 8;
    size_t mediaFileBytes = 200;
    uint32_t seed = 1;
};

/// Fills a folder with jobs as the earlier generation left them: databases with the
/// files of their segments beside them, customers, inspectors and addresses. Every fifth was cut off while it recorded,
/// and has a recording status file. Throws std::exception when it cannot write.
void MakeLegacyCard(const std::string& folder, const LegacyCardPlan& plan);

} // namespace Simulator

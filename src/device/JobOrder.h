#pragma once

#include "device/JobList.h"

#include <cstdint>

namespace JobsManagerD {

/// The times by which a job list can be sorted; wire values.
enum sortCriterion_e : uint8_t { SORT_BY_CREATE_TIME = 0, SORT_BY_MODIFIED_TIME = 1 };

/// The jobs at the places `start` to `start + count` of the list in its order by `criterion`, without sorting the rest.
/// Times compare as byte strings; equal ones keep the order of the list. A criterion that is not supported is logged
/// and leaves the list's own order.
std::vector<JobList::Entry> SortedPage(const std::vector<JobList::Entry>& jobs, uint8_t criterion, bool ascending,
                                       size_t start, size_t count);

} // namespace JobsManagerD

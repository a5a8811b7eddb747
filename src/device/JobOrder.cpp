#include "device/JobOrder.h"

#include <algorithm>
#include <functional>
#include <syslog.h>

namespace JobsManagerD {
namespace {

constexpr size_t prefetchDistance = 16;

template <typename Key>
struct Place {
    Key key;
    uint32_t index;
};

std::string TimeText(const Job& job, uint8_t criterion) {
    const Timestamp timestamp = job.Summary().timestamp;
    return criterion == SORT_BY_CREATE_TIME ? timestamp.createTime : timestamp.modifiedTime;
}

uint64_t TimeKey(const Job& job, uint8_t criterion) {
    return criterion == SORT_BY_CREATE_TIME ? job.CreateKey() : job.ModifiedKey();
}

template <typename KeyOf>
auto Places(const std::vector<JobList::Entry>& jobs, uint8_t criterion, KeyOf keyOf) {
    std::vector<Place<std::invoke_result_t<KeyOf, const Job&, uint8_t>>> places;
    places.reserve(jobs.size());
    for (size_t i = 0; i < jobs.size(); ++i) {
        // Jobs lie apart in memory, and most of the time here would go by in waiting for each.
        if (i + prefetchDistance < jobs.size())
            __builtin_prefetch(jobs[i + prefetchDistance].get());
        places.push_back({keyOf(*jobs[i], criterion), static_cast<uint32_t>(i)});
    }
    return places;
}

/// Puts the right places at `start` to `start + count`, in order.
template <typename Places>
void SortPage(Places& places, bool ascending, size_t start, size_t count) {
    const auto comesBefore = [ascending](const auto& left, const auto& right) {
        if (left.key != right.key)
            return ascending ? left.key < right.key : right.key < left.key;
        return left.index < right.index;
    };
    const auto first = places.begin() + static_cast<ptrdiff_t>(start);
    const auto last = first + static_cast<ptrdiff_t>(count);
    // Near the front, keeping the best few of all is cheaper than parting the list at the page.
    if ((start + count) * 8 <= places.size()) {
        std::partial_sort(places.begin(), last, places.end(), comesBefore);
        return;
    }
    std::nth_element(places.begin(), first, places.end(), comesBefore);
    std::partial_sort(first, last, places.end(), comesBefore);
}

template <typename Places>
std::vector<JobList::Entry> Page(const std::vector<JobList::Entry>& jobs, Places places, bool ascending, size_t start,
                                 size_t count) {
    SortPage(places, ascending, start, count);
    std::vector<JobList::Entry> page;
    page.reserve(count);
    for (size_t i = start; i < start + count; ++i)
        page.push_back(jobs[places[i].index]);
    return page;
}

} // namespace

std::vector<JobList::Entry> SortedPage(const std::vector<JobList::Entry>& jobs, uint8_t criterion, bool ascending,
                                       size_t start, size_t count) {
    if (criterion > SORT_BY_MODIFIED_TIME) {
        syslog(LOG_ERR, "ManagedDevice::_SortJobList - Unsupported sort criterion: %i.  List not sorted", criterion);
        const auto first = jobs.begin() + static_cast<ptrdiff_t>(start);
        return {first, first + static_cast<ptrdiff_t>(count)};
    }
    if (count == 0)
        return {};
    auto keys = Places(jobs, criterion, TimeKey);
    const bool allHaveKeys = std::ranges::none_of(keys, [](const auto& place) { return place.key == 0; });
    return allHaveKeys ? Page(jobs, std::move(keys), ascending, start, count)
                       : Page(jobs, Places(jobs, criterion, TimeText), ascending, start, count);
}

} // namespace JobsManagerD

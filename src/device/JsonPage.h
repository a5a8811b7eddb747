#pragma once

#include "codes/ReturnCodes.h"

#include <cstddef>
#include <string>
#include <syslog.h>

namespace JobsManagerD {

/// The bus drops a client that sends a larger message than this, in bytes, which a page of a full card can come near.
constexpr size_t largestText = size_t{31} * 1024 * 1024;

inline bool IsOutOfRange(size_t startIdx, size_t size) { return startIdx != 0 && startIdx >= size; }

inline size_t PageSize(size_t startIdx, size_t limit, size_t size) {
    return limit == 0 || startIdx + limit > size ? size - startIdx : limit;
}

/// A JSON array of texts that are JSON. JOBS_RTN_INVALID_RANGE, with a line, for one that no message could carry.
template <typename Page, typename TextOf>
jobsDaemonRtn_e JoinPage(const Page& page, TextOf textOf, std::string& text) {
    text.assign(1, '[');
    for (const auto& item : page) {
        if (text.size() > 1)
            text += ',';
        text += textOf(item);
        if (text.size() >= largestText) {
            syslog(LOG_ERR, "A page of more than %zu bytes is too large for a message", largestText);
            text = std::string();
            return JOBS_RTN_INVALID_RANGE;
        }
    }
    text += ']';
    return JOBS_RTN_SUCCEEDED;
}

} // namespace JobsManagerD

#include "search/SearchTerm.h"

#include <cstring>
#include <strings.h>

namespace JobsManagerD {

bool SearchTerm::Matches(const std::string& candidate) const {
    switch (criterion) {
    case MATCH_CONTAINS:
        return isCaseSensitive ? candidate.find(text) != std::string::npos
                               : strcasestr(candidate.c_str(), text.c_str()) != nullptr;
    case MATCH_STARTS_WITH:
        return isCaseSensitive ? candidate.starts_with(text)
                               : strncasecmp(candidate.c_str(), text.c_str(), text.size()) == 0;
    case MATCH_EXACTLY:
        return isCaseSensitive ? candidate == text : strcasecmp(candidate.c_str(), text.c_str()) == 0;
    }
    return false;
}

} // namespace JobsManagerD

#pragma once

#include "search/TermMatcher.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

namespace JobsManagerD {

/// One search: where to look in a job file, what for, and what is told of a hit. It knows texts, no files. Any thread
/// may ask.
class JobSearch {
public:
    /// `field` is a string, to be looked for everywhere, or an object that is not empty and leads to one. Of the keys
    /// of an object the first in ascending order is followed; "contacts" and "media" are also found behind others. The
    /// text of `term` is not read.
    JobSearch(const nlohmann::json& field, const SearchTerm& term);

    enum class Verdict { notFound, found, undecided };
    struct Outcome {
        Verdict verdict = Verdict::notFound;
        /// Of a hit: its place as compact JSON.
        std::string match;
    };

    /// Looks in the text of a job file, fast and without a word in the log. What the fast parser refuses stays
    /// undecided, and so does a hit with a very long text: FindIn decides. The text may be extended and is restored.
    Outcome LookInto(std::string& text) const;
    /// The place of the hit in a job file, or nothing. Logs a field structure that leads to no text.
    std::optional<std::string> FindIn(const nlohmann::json& document) const;

    /// The one way that a field structure leads, and what waits at its end.
    struct Way {
        std::vector<std::string> keys;
        std::optional<TermMatcher> matcher;
        /// What stands in the place of a text, as compact JSON.
        std::string noText;
    };
    /// The ways of one search. Lists whose elements are searched one by one may have none.
    struct Ways {
        bool lookEverywhere = false;
        std::optional<Way> contacts;
        std::optional<Way> media;
        Way job;
    };

private:
    Ways _ways;
    /// Every way ends at a text, so that there is nothing to log.
    bool _isQuiet = false;
};

} // namespace JobsManagerD

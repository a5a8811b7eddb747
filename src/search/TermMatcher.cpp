#include "search/TermMatcher.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace JobsManagerD {
namespace {

constexpr std::array<uint8_t, 256> lowerCase = [] {
    std::array<uint8_t, 256> table{};
    for (size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<uint8_t>(i >= 'A' && i <= 'Z' ? i + 'a' - 'A' : i);
    return table;
}();

uint8_t Folded(char c) { return lowerCase[static_cast<uint8_t>(c)]; }

/// Whether both are equal when `left` is folded; `right` already is.
bool EqualsFolded(std::string_view left, std::string_view right) {
    return std::ranges::equal(left, right, {}, Folded, Folded);
}

std::string_view UpToNul(std::string_view text) { return text.substr(0, text.find('\0')); }

/// What texts in job files are made of, and job files themselves. Other characters count as rare.
constexpr std::string_view fromCommonToRare = "\",: etaoinsrhldcum0123456789-fpgwybvkxjqz";

} // namespace

TermMatcher::TermMatcher(SearchTerm term) : _term(std::move(term)), _folded(UpToNul(_term.text)) {
    for (char& c : _folded)
        c = static_cast<char>(Folded(c));
    if (_folded.empty())
        return;
    const auto rarest = std::ranges::max_element(_folded, {}, [](char c) { return fromCommonToRare.find(c); });
    _pivotPlace = static_cast<size_t>(rarest - _folded.begin());
    _pivots += *rarest;
    if (*rarest >= 'a' && *rarest <= 'z')
        _pivots += static_cast<char>(*rarest - 'a' + 'A');
}

bool TermMatcher::Matches(std::string_view candidate) const {
    if (!_term.isCaseSensitive)
        return _MatchesWithoutCase(UpToNul(candidate));
    switch (_term.criterion) {
    case MATCH_CONTAINS:
        return candidate.find(_term.text) != std::string_view::npos;
    case MATCH_STARTS_WITH:
        return candidate.starts_with(_term.text);
    case MATCH_EXACTLY:
        return candidate == _term.text;
    }
    return false;
}

bool TermMatcher::_MatchesWithoutCase(std::string_view candidate) const {
    switch (_term.criterion) {
    case MATCH_CONTAINS:
        return _IsContainedIn(candidate);
    case MATCH_STARTS_WITH:
        // A term that a NUL ends is compared up to the end of the text.
        if (_folded.size() == _term.text.size())
            candidate = candidate.substr(0, _folded.size());
        return EqualsFolded(candidate, _folded);
    case MATCH_EXACTLY:
        return EqualsFolded(candidate, _folded);
    }
    return false;
}

bool TermMatcher::MayMatchIn(std::string_view jsonText) const {
    // Without escapes, strings stand in the text as they are.
    return jsonText.find('\\') != std::string_view::npos || _IsContainedIn(jsonText);
}

/// Looks for the rarest character of the term, which the C library does many at a time, and compares around it.
bool TermMatcher::_IsContainedIn(std::string_view text) const {
    if (_folded.size() > text.size())
        return false;
    for (const char pivot : _pivots)
        for (size_t at = text.find(pivot, _pivotPlace); at != std::string_view::npos; at = text.find(pivot, at + 1))
            if (EqualsFolded(text.substr(at - _pivotPlace, _folded.size()), _folded))
                return true;
    return _folded.empty();
}

} // namespace JobsManagerD

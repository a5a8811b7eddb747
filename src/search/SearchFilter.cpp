#include "search/SearchFilter.h"

#include "fsutil/FileDescriptor.h"
#include "jobs/Scramble.h"

#include <algorithm>
#include <array>

namespace dom = simdjson::dom;

namespace JobsManagerD {
namespace {

constexpr std::array<uint8_t, 256> lowerCase = [] {
    std::array<uint8_t, 256> table{};
    for (size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<uint8_t>(i >= 'A' && i <= 'Z' ? i + 'a' - 'A' : i);
    return table;
}();

uint8_t Folded(char c) { return lowerCase[static_cast<uint8_t>(c)]; }

/// A text that was larger than job files are gives its storage back.
constexpr size_t keptCapacity = 1024 * 1024;

/// Private notes are an array of numbers. False only for a JSON text without an array that begins with one.
bool MayHoldNotes(std::string_view text) {
    constexpr std::string_view otherStarts = "{[\"]";
    for (size_t array = text.find('['); array < text.size() - 1; array = text.find('[', array + 1))
        if (otherStarts.find(text[array + 1]) == text.npos)
            return true;
    return false;
}

/// Every ID that an object may be taken to have: of a key that is given twice, a walk cannot tell which counts.
void AddIds(const dom::element& value, std::vector<std::string>& ids) {
    dom::object object;
    if (value.get_object().get(object) != simdjson::SUCCESS)
        return;
    for (const dom::key_value_pair field : object)
        if (std::string_view text; field.key == "id" && field.value.get_string().get(text) == simdjson::SUCCESS)
            ids.emplace_back(text);
}

/// What texts in job files are made of, and job files themselves. Other characters count as rare.
constexpr std::string_view fromCommonToRare = "\",: etaoinsrhldcum0123456789-fpgwybvkxjqz";

} // namespace

/// What a thread needs for one file after the other.
struct SearchFilter::File {
    FastJsonParser parser;
    std::string text;
    /// With which private notes may be decoded at the present place.
    std::vector<std::string> keys;
    /// False when no string of the file contains the term.
    bool stringsMayHold = true;
};

SearchFilter::SearchFilter(const std::string& term) {
    for (const char c : term)
        _term += static_cast<char>(Folded(c));
    if (_term.empty())
        return;
    const auto rarest = std::ranges::max_element(_term, {}, [](char c) { return fromCommonToRare.find(c); });
    _pivotPlace = static_cast<size_t>(rarest - _term.begin());
    _pivots += *rarest;
    if (*rarest >= 'a' && *rarest <= 'z')
        _pivots += static_cast<char>(*rarest - 'a' + 'A');
}

/// Looks for the rarest character of the term, which the C library does many at a time, and compares around it.
bool SearchFilter::_Contains(std::string_view text) const {
    if (_term.size() > text.size())
        return false;
    const auto startsAt = [this, text](size_t start) {
        const std::string_view candidate = text.substr(start, _term.size());
        return std::ranges::equal(candidate, _term, {}, Folded, Folded);
    };
    for (const char pivot : _pivots)
        for (size_t at = text.find(pivot, _pivotPlace); at != text.npos; at = text.find(pivot, at + 1))
            if (startsAt(at - _pivotPlace))
                return true;
    return _term.empty();
}

bool SearchFilter::RulesOut(const std::string& jobFilePath) const {
    thread_local File file;
    if (file.text.capacity() > keptCapacity)
        file.text = std::string();
    if (!ReadRegularFile(jobFilePath, file.text))
        return false;
    dom::element document;
    dom::object object;
    if (file.parser.Parse(file.text).get(document) != simdjson::SUCCESS ||
        document.get_object().get(object) != simdjson::SUCCESS)
        return false;
    // Without escapes, strings stand in the file as they are. With most files that is the end of it.
    file.stringsMayHold = file.text.find('\\') != std::string::npos || _Contains(file.text);
    if (!file.stringsMayHold && !MayHoldNotes(file.text))
        return true;
    // Contacts are searched with this key; they have no private notes, but a file may hold what it likes.
    file.keys = {"Irrelevant"};
    AddIds(document, file.keys);
    return !_MayHold(file, object);
}

bool SearchFilter::_MayHold(File& file, const dom::object& object) const {
    for (const dom::key_value_pair field : object)
        if (field.key == "media" ? _MayHoldInMedia(file, field.value) : _MayHold(file, field.value))
            return true;
    return false;
}

/// The notes of a media item, and of anything inside it, are decoded with the item's own ID.
bool SearchFilter::_MayHoldInMedia(File& file, const dom::element& media) const {
    dom::array items;
    // A list may be an object, too, whose items have IDs as well: that is left to the search.
    if (media.get_array().get(items) != simdjson::SUCCESS)
        return true;
    const size_t outerKeys = file.keys.size();
    for (const dom::element item : items) {
        AddIds(item, file.keys);
        const bool may = _MayHold(file, item);
        file.keys.resize(outerKeys);
        if (may)
            return true;
    }
    return false;
}

bool SearchFilter::_MayHold(File& file, const dom::element& value) const {
    switch (value.type()) {
    case dom::element_type::STRING:
        return file.stringsMayHold && _Contains(value.get_string().value_unsafe());
    case dom::element_type::OBJECT: {
        const dom::object object = value.get_object().value_unsafe();
        return _MayHold(file, object);
    }
    case dom::element_type::ARRAY: {
        const dom::array array = value.get_array().value_unsafe();
        for (const dom::element element : array)
            if (element.type() != dom::element_type::INT64 && _MayHold(file, element))
                return true;
        return _MayHoldInNotes(file, array);
    }
    default:
        return false;
    }
}

/// Private notes are an array of bytes; any array of numbers is tried as notes.
bool SearchFilter::_MayHoldInNotes(const File& file, const dom::array& array) const {
    std::vector<uint8_t> bytes;
    for (const dom::element element : array) {
        int64_t number = 0;
        if (!element.is_number())
            return false;
        // A number of another kind is left to the search.
        if (element.get_int64().get(number) != simdjson::SUCCESS)
            return true;
        bytes.push_back(static_cast<uint8_t>(number));
    }
    return !bytes.empty() && std::ranges::any_of(file.keys, [&](const std::string& key) {
        return !key.empty() && _Contains(UnscrambleBytes(bytes, key));
    });
}

} // namespace JobsManagerD

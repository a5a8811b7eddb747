#include "jobs/JsonText.h"

#include "jobs/Json.h"

#include <algorithm>
#include <utility>

namespace JobsManagerD {
namespace {

/// True for a text that stands in JSON as it is. What else there is to know of texts, the library knows.
bool IsPlain(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= ' ' && c < 0x7f && c != '"' && c != '\\'; });
}

} // namespace

void JsonText::BeginObject() {
    _Value("{");
    _objects.push_back({_members.size()});
}

void JsonText::EndObject() {
    const Object object = _objects.back();
    _objects.pop_back();
    if (!object.isInOrder)
        _Sort(object);
    _members.resize(object.firstMember);
    _text += '}';
}

void JsonText::BeginArray() { _Value("["); }

void JsonText::EndArray() { _text += ']'; }

void JsonText::Key(std::string_view key) {
    _Separate();
    Object& object = _objects.back();
    if (_members.size() > object.firstMember && _members.back().key >= key)
        object.isInOrder = false;
    _members.push_back({key, _text.size()});
    _String(key);
    _text += ':';
}

void JsonText::Value(std::string_view text) {
    _Separate();
    _String(text);
}

std::string JsonText::Take() { return std::exchange(_text, {}); }

void JsonText::_Separate() {
    if (!_text.empty() && _text.back() != '{' && _text.back() != '[' && _text.back() != ':')
        _text += ',';
}

void JsonText::_Value(std::string_view json) {
    _Separate();
    _text += json;
}

void JsonText::_String(std::string_view text) {
    if (!IsPlain(text)) {
        _text += CompactDump(std::string(text));
        return;
    }
    _text += '"';
    _text += text;
    _text += '"';
}

void JsonText::_Sort(const Object& object) {
    struct Member {
        std::string_view key;
        std::string_view text;
    };
    const size_t begin = _members[object.firstMember].begin;
    const std::string unsorted = _text.substr(begin);
    std::vector<Member> members;
    for (size_t i = object.firstMember; i < _members.size(); ++i) {
        const size_t place = _members[i].begin - begin;
        // A comma stands between two.
        const size_t end = i + 1 < _members.size() ? _members[i + 1].begin - begin - 1 : unsorted.size();
        members.push_back({_members[i].key, std::string_view(unsorted).substr(place, end - place)});
    }
    std::ranges::stable_sort(members, {}, &Member::key);
    _text.resize(begin);
    for (size_t i = 0; i < members.size(); ++i)
        if (i + 1 == members.size() || members[i + 1].key != members[i].key)
            _Value(members[i].text);
}

} // namespace JobsManagerD

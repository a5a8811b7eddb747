#include "search/JobSearch.h"

#include "jobs/Scramble.h"
#include "search/JsonTrees.h"

#include <algorithm>
#include <span>
#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

/// Contacts have no private notes, but a file may hold what it likes.
constexpr const char* noKey = "Irrelevant";

/// Many jobs are looked into ahead of their turn, and each keeps what it found until then.
constexpr size_t longestMatchAhead = 64 * 1024;

/// A list of a job whose elements are searched one by one, and how a hit in one is told.
struct Elements {
    const char* key;
    const char* idKey;
    std::optional<JobSearch::Way> JobSearch::Ways::*way;
    /// Each element's own ID decodes its private notes.
    bool haveNotes;
};

constexpr Elements lists[] = {{"contacts", "contactID", &JobSearch::Ways::contacts, false},
                              {"media", "mediaID", &JobSearch::Ways::media, true}};

JobSearch::Way WayOf(const json& field, const SearchTerm& term) {
    JobSearch::Way way;
    const json* end = &field;
    while (end->is_object() && !end->empty()) {
        way.keys.push_back(end->begin().key());
        end = &end->begin().value();
    }
    if (const std::string* const text = end->get_ptr<const json::string_t*>())
        way.matcher.emplace(SearchTerm{term.criterion, *text, term.isCaseSensitive});
    else
        way.noText = CompactDump(*end);
    return way;
}

std::string DumpText(std::string_view text) { return CompactDump(json(std::string(text))); }

std::string Wrap(const char* key, const std::string& value) { return std::string("{\"") + key + "\":" + value + "}"; }

/// A key as a JSON pointer has it.
std::string Escaped(std::string_view key) {
    std::string escaped;
    for (const char c : key)
        escaped += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    return escaped;
}

/// Keys of such characters alone are in the order of the pointers that they make.
bool IsOrderedLikeItsPointer(std::string_view key) {
    return std::ranges::all_of(key, [](char c) { return static_cast<uint8_t>(c) > '/' && c != '~'; });
}

/// The number after `number` in the order of decimal texts, among those below `count`: 0, 1, 10, 11, 2.
size_t NextAsText(size_t number, size_t count) {
    if (number == 0)
        return 1;
    if (number * 10 < count)
        return number * 10;
    while (number % 10 == 9 || number + 1 >= count)
        number /= 10;
    return number + 1;
}

/// Looks in one document. The same for the trees of both parsers, so that what a hit is stands here once.
template <typename Tree>
class Search {
public:
    using Value = typename Tree::Value;

    /// Without `looksAtTexts` only private notes are looked at: no text matches, as the caller knows.
    Search(const JobSearch::Ways& ways, bool looksAtTexts) : _ways(ways), _looksAtTexts(looksAtTexts) {}

    /// The place of the hit as compact JSON, or nothing.
    std::optional<std::string> In(Value document);

private:
    enum class Step { found, notFound, goOn };
    /// An element of an array has no key.
    struct Child {
        std::string_view key;
        Value value;
    };
    /// One step of a JSON pointer: a key, or the number of an element.
    struct Token {
        std::string_view key;
        std::optional<size_t> number;

        std::string Text() const { return number ? std::to_string(*number) : std::string(key); }
    };

    Step _SearchElements(Value document, const Elements& list);
    bool _SearchElement(Value element, const Elements& list, const JobSearch::Way& way);
    bool SearchJsonStructForString(Value value, const JobSearch::Way& way, size_t depth, std::string_view key);
    bool _SearchValues(Value value, const JobSearch::Way& way, std::string_view fieldName, std::string_view key);
    bool _MatchPrivateNotes(Value value, const TermMatcher& matcher, std::string_view fieldName, std::string_view key);
    bool _MatchTexts(Value value, const TermMatcher& matcher);
    bool _MatchMembers(Value object, const TermMatcher& matcher);
    bool _MatchElements(Value array, const TermMatcher& matcher);
    bool _MatchChild(const Child& child, const Token& token, const TermMatcher& matcher);

    void _KeepLastOfEachKey(size_t first);
    void _SortByPointers(size_t first);
    std::string _Unflattened(std::string value) const;

    const JobSearch::Ways& _ways;
    const bool _looksAtTexts;
    /// What is told of the hit.
    std::string _match;
    /// The members of the job itself whose elements have been searched before.
    bool _leavesListsOut = false;
    /// The way from the value that is searched to the one that is looked at, and the children of the values on it.
    std::vector<Token> _tokens;
    std::vector<Child> _children;
};

template <typename Tree>
std::optional<std::string> Search<Tree>::In(Value document) {
    for (const Elements& list : lists)
        if (const Step step = _SearchElements(document, list); step != Step::goOn)
            return step == Step::found ? std::optional(_match) : std::nullopt;
    const auto id = Tree::Find(document, "id");
    if (!id || Tree::KindOf(*id) != Kind::text)
        return std::nullopt;
    _leavesListsOut = _ways.lookEverywhere;
    if (!SearchJsonStructForString(document, _ways.job, 0, Tree::Text(*id)))
        return std::nullopt;
    return Wrap("term", _match);
}

/// Goes on where the field structure does not name the list, and where a text has not been found in it.
template <typename Tree>
auto Search<Tree>::_SearchElements(Value document, const Elements& list) -> Step {
    const std::optional<JobSearch::Way>& way = _ways.*list.way;
    const auto value = way ? Tree::Find(document, list.key) : std::nullopt;
    if (!value)
        return Step::goOn;
    const auto isHit = [&](Value element) { return _SearchElement(element, list, *way); };
    bool found = false;
    if (Tree::KindOf(*value) == Kind::array) {
        found = Tree::AnyElement(*value, isHit);
    } else if (Tree::KindOf(*value) == Kind::object) {
        Tree::EachMember(*value, [this](std::string_view key, Value member) { _children.push_back({key, member}); });
        _KeepLastOfEachKey(0);
        const std::vector<Child> members = std::exchange(_children, {});
        found = std::ranges::any_of(members, isHit, &Child::value);
    }
    if (found)
        return Step::found;
    return _ways.lookEverywhere ? Step::goOn : Step::notFound;
}

/// An element without an ID, or without one that its notes could be decoded with, is passed over.
template <typename Tree>
bool Search<Tree>::_SearchElement(Value element, const Elements& list, const JobSearch::Way& way) {
    const auto id = Tree::Find(element, "id");
    if (!id || (list.haveNotes && Tree::KindOf(*id) != Kind::text))
        return false;
    if (!SearchJsonStructForString(element, way, 0, list.haveNotes ? Tree::Text(*id) : noKey))
        return false;
    const std::string term = _ways.lookEverywhere ? Wrap(list.key, _match) : _match;
    _match = std::string("{\"") + list.idKey + "\":" + Tree::Dump(*id) + ",\"term\":" + term + "}";
    return true;
}

/// Follows the way from its key number `depth` on.
template <typename Tree>
bool Search<Tree>::SearchJsonStructForString(Value value, const JobSearch::Way& way, size_t depth,
                                             std::string_view key) {
    std::string_view fieldName;
    while (depth < way.keys.size()) {
        fieldName = way.keys[depth++];
        const auto member = Tree::Find(value, fieldName);
        if (!member)
            return false;
        value = *member;
        const auto isHit = [&](Value element) { return SearchJsonStructForString(element, way, depth, key); };
        if (Tree::KindOf(value) == Kind::array && Tree::AnyElement(value, isHit))
            return true;
    }
    if (!way.matcher) {
        syslog(LOG_ERR,
               "ManagedDevice::SearchJsonStructForString Entry - fieldStruct at search term is not a string %s",
               way.noText.c_str());
        return false;
    }
    return _SearchValues(value, way, fieldName, key);
}

template <typename Tree>
bool Search<Tree>::_SearchValues(Value value, const JobSearch::Way& way, std::string_view fieldName,
                                 std::string_view key) {
    _tokens.clear();
    _children.clear();
    return (_looksAtTexts && _MatchTexts(value, *way.matcher)) ||
           _MatchPrivateNotes(value, *way.matcher, fieldName, key);
}

/// Private notes are numbers in the file, so that no text matched them. Notes that cannot be decoded hold nothing.
template <typename Tree>
bool Search<Tree>::_MatchPrivateNotes(Value value, const TermMatcher& matcher, std::string_view fieldName,
                                      std::string_view key) {
    std::optional<Value> notes = Tree::Find(value, "privateNotes");
    if (!notes && fieldName == "privateNotes")
        notes = value;
    if (!notes || Tree::KindOf(*notes) != Kind::array)
        return false;
    std::vector<uint8_t> bytes;
    const bool hasOthers = Tree::AnyElement(*notes, [&bytes](Value element) {
        const std::optional<uint8_t> byte = Tree::Byte(element);
        bytes.push_back(byte.value_or(0));
        return !byte;
    });
    if (hasOthers || (key.empty() && !bytes.empty()))
        return false;
    const std::string text = UnscrambleBytes(bytes, std::string(key));
    if (!matcher.Matches(text))
        return false;
    _match = Wrap("privateNotes", DumpText(text));
    return true;
}

/// The first text that matches, in the order of the JSON pointers to the texts.
template <typename Tree>
bool Search<Tree>::_MatchTexts(Value value, const TermMatcher& matcher) {
    switch (Tree::KindOf(value)) {
    case Kind::object:
        return _MatchMembers(value, matcher);
    case Kind::array:
        return _MatchElements(value, matcher);
    case Kind::text:
        if (!matcher.Matches(Tree::Text(value)))
            return false;
        _match = _Unflattened(DumpText(Tree::Text(value)));
        return true;
    case Kind::other:
        break;
    }
    return false;
}

template <typename Tree>
bool Search<Tree>::_MatchMembers(Value object, const TermMatcher& matcher) {
    const size_t first = _children.size();
    Tree::EachMember(object, [&](std::string_view key, Value member) {
        const bool wasSearched = _leavesListsOut && first == 0 && (key == lists[0].key || key == lists[1].key);
        if (!wasSearched)
            _children.push_back({key, member});
    });
    _SortByPointers(first);
    const size_t end = _children.size();
    for (size_t number = first; number < end; ++number)
        if (const Child child = _children[number]; _MatchChild(child, {child.key, {}}, matcher))
            return true;
    _children.resize(first);
    return false;
}

template <typename Tree>
bool Search<Tree>::_MatchElements(Value array, const TermMatcher& matcher) {
    const size_t first = _children.size();
    Tree::AnyElement(array, [this](Value element) {
        _children.push_back({{}, element});
        return false;
    });
    const size_t count = _children.size() - first;
    size_t number = 0;
    for (size_t done = 0; done < count; ++done, number = NextAsText(number, count))
        if (const Child child = _children[first + number]; _MatchChild(child, {{}, number}, matcher))
            return true;
    _children.resize(first);
    return false;
}

template <typename Tree>
bool Search<Tree>::_MatchChild(const Child& child, const Token& token, const TermMatcher& matcher) {
    _tokens.push_back(token);
    if (_MatchTexts(child.value, matcher))
        return true;
    _tokens.pop_back();
    return false;
}

/// The children from `first` on become those of a document in which no key is given twice, in the order of keys.
template <typename Tree>
void Search<Tree>::_KeepLastOfEachKey(size_t first) {
    const auto begin = _children.begin() + static_cast<ptrdiff_t>(first);
    if (std::adjacent_find(begin, _children.end(), [](const Child& a, const Child& b) { return a.key >= b.key; }) ==
        _children.end())
        return;
    std::stable_sort(begin, _children.end(), [](const Child& a, const Child& b) { return a.key < b.key; });
    const auto sameKey = [](const Child& a, const Child& b) { return a.key == b.key; };
    const auto lastOnes = std::unique(_children.rbegin(), std::make_reverse_iterator(begin), sameKey);
    _children.erase(begin, lastOnes.base());
}

/// Pointers are compared as texts, in which a "/" stands behind the key of an object or array: "/a!" comes before
/// "/a/b".
template <typename Tree>
void Search<Tree>::_SortByPointers(size_t first) {
    _KeepLastOfEachKey(first);
    const auto begin = _children.begin() + static_cast<ptrdiff_t>(first);
    if (std::all_of(begin, _children.end(), [](const Child& child) { return IsOrderedLikeItsPointer(child.key); }))
        return;
    std::vector<std::pair<std::string, Child>> byPointer;
    std::transform(begin, _children.end(), std::back_inserter(byPointer), [](const Child& child) {
        const Kind kind = Tree::KindOf(child.value);
        const bool isInner = kind == Kind::object || kind == Kind::array;
        return std::pair(Escaped(child.key) + (isInner ? "/" : ""), child);
    });
    std::ranges::sort(byPointer, {}, &std::pair<std::string, Child>::first);
    std::ranges::transform(byPointer, begin, &std::pair<std::string, Child>::second);
}

/// The value at the end of the present way, as if only its pointer were known: a "0" begins an array, any other number
/// is a key.
template <typename Tree>
std::string Search<Tree>::_Unflattened(std::string value) const {
    std::string opening, closing;
    for (const Token& token : _tokens) {
        const std::string text = token.Text();
        opening += text == "0" ? "[" : "{" + DumpText(text) + ":";
        closing += text == "0" ? ']' : '}';
    }
    return opening + value + std::string(closing.rbegin(), closing.rend());
}

/// An array that does not begin with another kind of value: private notes are numbers. An empty array holds only the
/// empty term, which texts are looked at for.
bool MayHoldNotes(std::string_view jsonText) {
    constexpr std::string_view otherStarts = "{[]\"";
    for (size_t array = jsonText.find('['); array < jsonText.size(); array = jsonText.find('[', array + 1))
        if (array + 1 == jsonText.size() || otherStarts.find(jsonText[array + 1]) == std::string_view::npos)
            return true;
    return false;
}

std::vector<const JobSearch::Way*> WaysOf(const JobSearch::Ways& ways) {
    std::vector<const JobSearch::Way*> all{&ways.job};
    for (const Elements& list : lists)
        if (const auto& way = ways.*list.way)
            all.push_back(&*way);
    return all;
}

} // namespace

JobSearch::JobSearch(const json& field, const SearchTerm& term)
    : _ways{field.is_string(), std::nullopt, std::nullopt, WayOf(field, term)} {
    for (const Elements& list : lists)
        if (field.is_string())
            _ways.*list.way = _ways.job;
        else if (const auto inner = field.find(list.key); inner != field.end())
            _ways.*list.way = WayOf(*inner, term);
    _isQuiet = std::ranges::all_of(WaysOf(_ways), [](const Way* way) { return way->matcher.has_value(); });
}

JobSearch::Outcome JobSearch::LookInto(std::string& text) const {
    if (!_isQuiet)
        return {Verdict::undecided, {}};
    thread_local FastJsonParser parser;
    simdjson::dom::element document;
    if (parser.Parse(text).get(document) != simdjson::SUCCESS)
        return {Verdict::undecided, {}};
    const bool textsMayMatch =
        std::ranges::any_of(WaysOf(_ways), [&text](const Way* way) { return way->matcher->MayMatchIn(text); });
    if (!textsMayMatch && !MayHoldNotes(text))
        return {};
    std::optional<std::string> match = Search<FastTree>(_ways, textsMayMatch).In(document);
    if (!match)
        return {};
    if (match->size() > longestMatchAhead)
        return {Verdict::undecided, {}};
    return {Verdict::found, std::move(*match)};
}

std::optional<std::string> JobSearch::FindIn(const json& document) const {
    return Search<GeneralTree>(_ways, true).In(&document);
}

} // namespace JobsManagerD

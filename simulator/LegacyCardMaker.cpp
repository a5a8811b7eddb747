#include "simulator/LegacyCardMaker.h"

#include "simulator/LegacyDatabase.h"

#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <stdexcept>

namespace fs = std::filesystem;

namespace Simulator {
namespace {

constexpr const char* streets[] = {"Main Street", "Mill Lane", "Harbour Road", "Station Way", "Castle Hill"};
constexpr const char* purposes[] = {"Blocked drain", "Yearly inspection", "Purchase of the house"};
constexpr const char* lastNames[] = {"Adler", "Berg", "Cole", "Dietz", "Ebner", "Frost"};
constexpr size_t segments = 2;
/// One job in so many was cut off while it recorded.
constexpr size_t brokenOneIn = 5;

struct BookmarkType {
    const char* name;
    const char* videoEnding; ///< of what the column of the video names; null when it names nothing
    const char* imageEnding;
};

constexpr BookmarkType types[] = {{"VIDEO", ".mp4", "-thumb.jpg"},
                                  {"IMAGE", nullptr, ".jpg"},
                                  {"AUDIOIMAGE", ".wav", ".jpg"},
                                  {"AUTOLOG", ".mp4", "-thumb.jpg"}};

std::string TimeText(time_t time, const char* format) {
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 40> text{};
    return {text.data(), std::strftime(text.data(), text.size(), format, &parts)};
}

std::string Date(time_t time) { return LegacyDatabase::Text(TimeText(time, "%Y-%m-%d %H:%M:%S")); }

void Write(const fs::path& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush())
        throw std::runtime_error("cannot write " + path.string());
}

/// Makes one job.
class Maker {
public:
    Maker(const std::string& card, size_t number, const LegacyCardPlan& plan)
        : _plan(plan), _random(plan.seed + static_cast<uint32_t>(number)),
          // One job a minute: folder names sort as the jobs were made.
          _time(1325376000 + static_cast<time_t>(number) * 60),
          _folder(fs::path(card) / TimeText(_time, "Inspection-%Y-%m-%d-%H-%M-%S")),
          _isBroken(number % brokenOneIn == 0) {}

    void Make() {
        fs::create_directories(_folder);
        _database = LegacyDatabase::Make(_folder / "job.jdb3");
        _database->Run("BEGIN");
        for (size_t segment = 0; segment < segments; ++segment)
            _MakeSegment(segment);
        for (size_t bookmark = 0; bookmark < _plan.bookmarksPerJob; ++bookmark)
            _MakeBookmark(bookmark);
        _MakePeople();
        _MakeJob();
        _database->Run("COMMIT");
    }

private:
    template <size_t count>
    std::string Any(const char* const (&texts)[count]) {
        return LegacyDatabase::Text(texts[_random() % count]);
    }

    std::string Id() {
        std::string literal = "x'";
        for (int i = 0; i < 32; ++i)
            literal += "0123456789abcdef"[_random() % 16];
        return literal + "'";
    }

    static std::string SegmentFolder(size_t segment) { return "Segment_" + std::to_string(segment + 1); }

    void _MakeSegment(size_t segment) {
        fs::create_directories(_folder / SegmentFolder(segment));
        _database->Insert("Segments", {{"Id", std::to_string(segment + 1)},
                                       {"RelativePath", LegacyDatabase::Text(SegmentFolder(segment))},
                                       {"Purpose", Any(purposes)},
                                       {"Quote", segment == 0 ? "'250.00'" : "''"},
                                       {"Action", "'Cleaned with the jet'"},
                                       {"Summary", segment == 0 ? "''" : "'Free to the main'"},
                                       {"ReasonForCall", "''"},
                                       {"Description", "''"},
                                       {"PrivateNote", segment == 0 ? "'The dog bites'" : "''"},
                                       {"Source", "'Cleanout in the yard'"}});
    }

    /// Puts a file into the segment's folder and gives its name as a literal.
    std::string _File(size_t segment, const std::string& name) {
        Write(_folder / SegmentFolder(segment) / name, std::string(_plan.mediaFileBytes, 'm'));
        _size += _plan.mediaFileBytes;
        return LegacyDatabase::Text(name);
    }

    void _MakeBookmark(size_t number) {
        const BookmarkType& type = types[number % std::size(types)];
        const size_t segment = number / std::size(types) % segments;
        const std::string stem = "mark-" + std::to_string(number + 1);
        std::string video = "''";
        if (type.videoEnding) {
            video = _File(segment, stem + type.videoEnding);
            if (_isBroken && number == 0)
                Write(_folder / "recStat",
                      (_folder.filename() / SegmentFolder(segment) / (stem + type.videoEnding)).string() + "\n");
            else
                _File(segment, stem + type.videoEnding + "-recovery");
        }
        _database->Insert("Bookmarks", {{"Id", std::to_string(number + 1)},
                                        {"SegmentId", std::to_string(segment + 1)},
                                        {"UniqueId", Id()},
                                        {"Type", LegacyDatabase::Text(type.name)},
                                        {"Timestamp", Date(_time + static_cast<time_t>(number))},
                                        {"IsSelected", std::to_string(number % 2)},
                                        {"Note", number % 3 == 0 ? "'Crack along the crown'" : "''"},
                                        {"PrivateNote", number % 4 == 0 ? "'Not in the report'" : "NULL"},
                                        {"VideoPath", video},
                                        {"ImagePath", _File(segment, stem + type.imageEnding)},
                                        {"AudioPath", "''"},
                                        {"DataPath", number == 0 ? _File(segment, stem + ".dat") : "''"}});
    }

    void _MakePeople() {
        for (int id = 1; id <= 2; ++id) {
            _database->Insert("Contacts", {{"Id", std::to_string(id)},
                                           {"FirstName", id == 1 ? "'Ada'" : "'Ben'"},
                                           {"LastName", Any(lastNames)},
                                           {"Company", id == 1 ? "''" : "'Drains and Sons'"},
                                           {"MobileNumber", "'+49 170 4711'"}});
            _database->Insert("AddressLinks", {{"AddressId", std::to_string(id)}, {"ContactId", std::to_string(id)}});
        }
        for (int id = 1; id <= 2; ++id)
            _database->Insert("Addresses", {{"Id", std::to_string(id)},
                                            {"ContactId", std::to_string(id)},
                                            {"Street", Any(streets)},
                                            {"City", "'Tarnburg'"},
                                            {"PostalCode", "'4711'"},
                                            {"Latitude", id == 1 ? "48.137154" : "0"},
                                            {"Longitude", id == 1 ? "11.576124" : "0"}});
    }

    void _MakeJob() {
        const time_t end = _time + static_cast<time_t>(_plan.bookmarksPerJob);
        _database->Insert("Jobs", {{"Id", "1"},
                                   {"UniqueId", Id()},
                                   {"Name", Any(streets)},
                                   {"ReasonForCall", Any(purposes)},
                                   {"Description", "'House of three floors'"},
                                   {"PrivateNote", "'Pays late'"},
                                   {"Source", "'Tarn 300'"},
                                   {"Serial", "'TN-000815'"},
                                   {"Version", "'1.9.3'"},
                                   {"StartTime", Date(_time)},
                                   {"LastModifiedTime", Date(end)},
                                   {"CustomerId", "1"},
                                   {"InspectorId", "2"},
                                   {"LocationId", "1"}});
        _database->Insert("JobInfo", {{"JobSize", std::to_string(_size)},
                                      {"DateLastCalculated", Date(end)},
                                      {"JobLocked", _random() % 8 == 0 ? "1" : "0"}});
    }

    const LegacyCardPlan _plan;
    std::mt19937 _random;
    const time_t _time;
    const fs::path _folder;
    const bool _isBroken;
    std::optional<LegacyDatabase> _database;
    size_t _size = 0;
};

} // namespace

void MakeLegacyCard(const std::string& folder, const LegacyCardPlan& plan) {
    for (size_t number = 0; number < plan.jobs; ++number)
        Maker(folder, number, plan).Make();
}

} // namespace Simulator

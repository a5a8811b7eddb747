#include "simulator/CardMaker.h"

#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>

namespace fs = std::filesystem;
using nlohmann::json;

namespace Simulator {
namespace {

constexpr const char* firstNames[] = {"Ada", "Ben", "Cleo", "Dan", "Eva", "Finn", "Grete", "Hugo"};
constexpr const char* lastNames[] = {"Adler", "Berg", "Cole", "Dietz", "Ebner", "Frost", "Gruber", "Hale"};
constexpr const char* streets[] = {"Main Street", "Mill Lane", "Harbour Road", "Station Way", "Castle Hill"};
constexpr const char* findings[] = {"root intrusion at the joint", "crack along the crown",
                                    "deposits on the invert",      "offset joint, flow is held",
                                    "connection made badly",       "no finding on this stretch"};

class Maker {
public:
    Maker(std::string folder, const CardPlan& plan) : _folder(std::move(folder)), _plan(plan), _random(plan.seed) {}

    void MakeJob(size_t number) {
        // One job a minute: folder names sort as the jobs were made.
        const time_t time = 1577836800 + static_cast<time_t>(number) * 60;
        const fs::path folder = fs::path(_folder) / TimeText(time, "%Y-%m-%d-%H-%M-%S");
        fs::create_directories(folder / "media");
        const std::string text = Job(time, folder / "media").dump();
        Write(folder / "job.json", text);
        if (_plan.withBackups)
            Write(folder / "job.json.bak", text);
    }

private:
    template <size_t count>
    std::string Any(const char* const (&texts)[count]) {
        return texts[_random() % count];
    }

    std::string Id() {
        constexpr const char* digits = "0123456789abcdef";
        std::string id = "xxxxxxxx-xxxx-4xxx-cxxx-xxxxxxxxxxxx";
        for (char& c : id)
            c = c == 'x' ? digits[_random() % 16] : c;
        return id;
    }

    static std::string TimeText(time_t time, const char* format) {
        std::tm parts{};
        gmtime_r(&time, &parts);
        std::array<char, 40> text{};
        return {text.data(), std::strftime(text.data(), text.size(), format, &parts)};
    }

    static void Write(const fs::path& path, const std::string& text) {
        std::ofstream file(path, std::ios::binary);
        file << text;
        if (!file.flush())
            throw std::runtime_error("cannot write " + path.string());
    }

    static json Timestamp(time_t time) {
        const std::string text = TimeText(time, "%Y-%m-%dT%H:%M:%SZ");
        return {{"createTime", text}, {"modifiedTime", text}};
    }

    static json Source() { return {{"model", "Tarn 900"}, {"serial", "TN-004711-0815"}, {"version", "4.2.1"}}; }

    json Contact(uint8_t id) {
        json contact{{"firstName", Any(firstNames)},
                     {"lastName", Any(lastNames)},
                     {"phones", {{"mobile", "+49 170 " + std::to_string(_random() % 10000000)}}},
                     {"contactSource", 0}};
        if (id != 0)
            contact["id"] = id;
        return contact;
    }

    json File(const char* type, const std::string& name, const fs::path& mediaFolder) {
        if (_plan.mediaFileBytes != 0)
            Write(mediaFolder / name, std::string(_plan.mediaFileBytes, 'm'));
        return {{"type", type}, {"name", name}, {"size", _plan.mediaFileBytes}};
    }

    json Video(time_t time, size_t number, const fs::path& mediaFolder) {
        const std::string stem = "run-" + std::to_string(number);
        return {{"id", Id()},
                {"type", "video"},
                {"name", "Run " + std::to_string(number)},
                {"notes", Any(findings)},
                {"isIncludedInReport", _random() % 2 == 0},
                {"source", Source()},
                {"timestamp", Timestamp(time + static_cast<time_t>(number))},
                {"distance", {{"absolute", _random() % 5000}, {"relative", _random() % 900}}},
                {"files",
                 {File("videoFile", stem + ".mp4", mediaFolder), File("recoveryFile", stem + ".rec", mediaFolder),
                  File("thumbnailFile", stem + ".jpg", mediaFolder)}}};
    }

    /// As the service hides it: each byte XORed with the bytes of the job's ID in turn.
    static json Scrambled(const std::string& text, const std::string& id) {
        json bytes = json::array();
        for (size_t i = 0; i < text.size(); ++i)
            bytes.push_back(static_cast<uint8_t>(text[i] ^ id[i % id.size()]));
        return bytes;
    }

    json Job(time_t time, const fs::path& mediaFolder) {
        const std::string id = Id();
        json job{{"id", id},
                 {"version", "2.0"},
                 {"locked", _random() % 16 == 0 && _plan.withLockedJobs},
                 {"type", "videoInspection"},
                 {"name", Any(streets) + " " + std::to_string(_random() % 200)},
                 {"notes", Any(findings)},
                 {"source", Source()},
                 {"timestamp", Timestamp(time)},
                 {"position", {{"latitude", "48.137154"}, {"longitude", "11.576124"}}},
                 {"address", {{"street", Any(streets)}, {"city", "Tarnburg"}}},
                 {"customer", Contact(0)},
                 {"contacts", {Contact(1), Contact(2)}},
                 {"userData", {{"order", _random() % 100000}, {"checked", true}}},
                 {"mediaFolder", "media"}};
        if (_random() % 5 < 2)
            job["privateNotes"] = Scrambled("Owner says: " + Any(findings), id);
        json media = json::array();
        for (size_t number = _plan.mediaPerJob; number > 0; --number)
            media.push_back(Video(time, number, mediaFolder));
        job["jobSize"] = _plan.mediaPerJob * 3 * _plan.mediaFileBytes;
        job["mediaCounts"] = {{"total", _plan.mediaPerJob},
                              {"autologs", 0},
                              {"images", 0},
                              {"photoTalks", 0},
                              {"videos", _plan.mediaPerJob}};
        if (!media.empty())
            job["media"] = std::move(media);
        return job;
    }

    const std::string _folder;
    const CardPlan _plan;
    std::mt19937 _random;
};

} // namespace

void MakeCard(const std::string& folder, const CardPlan& plan) {
    Maker maker(folder, plan);
    for (size_t number = 0; number < plan.jobs; ++number)
        maker.MakeJob(number);
}

} // namespace Simulator

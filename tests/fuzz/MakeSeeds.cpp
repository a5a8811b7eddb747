#include "simulator/CardMaker.h"
#include "simulator/LegacyCardMaker.h"
#include "simulator/LegacyDatabase.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

// Writes the inputs that the fuzz targets start from, a folder for each target.

namespace fs = std::filesystem;

namespace {

std::string Read(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class Corpus {
public:
    explicit Corpus(const fs::path& folder) : _folder(folder) { fs::create_directories(folder); }

    void Add(const std::string& seed) {
        std::ofstream(_folder / ("seed-" + std::to_string(++_count)), std::ios::binary) << seed;
    }

private:
    fs::path _folder;
    int _count = 0;
};

/// Everything that a job file can hold, once.
constexpr const char* fullJob =
    R"({"address":{"city":"C","position":{"latitude":"1.5","longitude":"2.5"}},"contacts":[{"contactSource":2,)"
    R"("firstName":"Ann","id":1,"phones":{"home":"1"},"web":{"site":"w"}}],"customer":{"address":{"city":"P"},)"
    R"("lastName":"Roe"},"id":"j","jobSize":15,"locked":true,"media":[{"cameraInclinometerAngle":-3,)"
    R"("cameraRollAngle":12,"distance":{"absolute":1,"relative":2},"files":[{"name":"a.jpg","size":15,"type":)"
    R"("imageFile"}],"id":"m","isIncludedInReport":true,"name":"n","notes":"x","position":{"latitude":"3",)"
    R"("longitude":"4"},"privateNotes":[1,2],"source":{"model":"R","serial":"S","version":"1"},"timestamp":)"
    R"({"createTime":"2024-05-01T08:00:00Z","modifiedTime":"2024-05-01T08:00:00Z"},"type":"image","userData":{"k":1}}],)"
    R"("mediaCounts":{"autologs":0,"images":1,"photoTalks":0,"total":1,"videos":0},"mediaFolder":"media","name":"J",)"
    R"("notes":"x","position":{"latitude":"1","longitude":"2"},"privateNotes":[3,4],"source":{"model":"R","serial":"S",)"
    R"("version":"1"},"timestamp":{"createTime":"2024-05-01T08:00:00Z","modifiedTime":"2024-05-01T08:00:00Z"},)"
    R"("type":"videoInspection","userData":"u","version":"2.0"})";

void AddJobFiles(const fs::path& folder) {
    Corpus summaries(folder / "job_summary_fuzz");
    Corpus files(folder / "job_file_fuzz");
    Corpus searches(folder / "search_fuzz");
    const fs::path card = folder / "card";
    Simulator::MakeCard(card, {.jobs = 4, .mediaPerJob = 3, .withBackups = false});
    std::vector<std::string> texts{fullJob};
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(card))
        if (entry.path().extension() == ".json")
            texts.push_back(Read(entry.path()));
    for (const std::string& text : texts) {
        summaries.Add(text);
        files.Add(text);
        for (const char* field :
             {R"(0"a")", R"(5"Ann")", R"(0{"media":{"notes":"x"}})",
              R"(2{"contacts":"n","customer":{"lastName":"Roe"}})", R"(1{"privateNotes":"i"})", R"(6{"media":"m"})"})
            searches.Add(field + ("\n" + text));
    }
    fs::remove_all(card);
}

void AddLegacyJobs(const fs::path& folder) {
    Corpus databases(folder / "legacy_job_fuzz");
    Corpus statusFiles(folder / "recording_status_fuzz");
    const fs::path card = folder / "card";
    Simulator::MakeLegacyCard(card, {.jobs = 5, .bookmarksPerJob = 4});
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(card)) {
        if (entry.path().filename() == "recStat")
            statusFiles.Add(Read(entry.path()));
        if (entry.path().extension() != ".jdb3")
            continue;
        // Small pages, so that a few changed bytes reach more of the database's structure.
        auto database = Simulator::LegacyDatabase::Open(entry.path());
        for (const char* change :
             {"PRAGMA page_size=512; VACUUM", "CREATE INDEX types ON Bookmarks (Type)", "PRAGMA journal_mode=WAL"}) {
            database.Run(change);
            databases.Add(Read(entry.path()));
        }
    }
    fs::remove_all(card);
    for (const char* lines : {"job/media/rec.mp4\n", "job/media/rec.mp4\nother/rec.mp4\n",
                              "../x\n\n/etc/x\njob/./a.b.c", "job/media/../../../x.mp4\r\n"})
        statusFiles.Add(lines);
}

void AddBusTexts(const fs::path& folder) {
    Corpus texts(folder / "bus_text_fuzz");
    texts.Add(R"(@{"street":"Main","position":{"latitude":"1","longitude":"2"}})");
    texts.Add(R"(A{"firstName":"Ada","phones":{"mobile":"1"},"web":{"mail":"a"},"address":{"city":"C"}})");
    texts.Add("B{\"firstName\":\"Tom\"}\nC{\"id\":2,\"firstName\":\"Tim\"}\nB{\"lastName\":\"x\"}");
    texts.Add("D{\"company\":\"Co\"}\nD{}\nD{\"company\":\"Other\"}");
    texts.Add("E{\"k\":[1,null]}\nFnotes \xc3\xa9\nGprivate");
}

} // namespace

int main(int count, char** arguments) try {
    if (count != 2) {
        std::cerr << "usage: make_fuzz_seeds FOLDER\n";
        return 2;
    }
    const fs::path folder = arguments[1];
    AddJobFiles(folder);
    AddLegacyJobs(folder);
    AddBusTexts(folder);
    return 0;
} catch (const std::exception& exception) {
    std::cerr << exception.what() << "\n";
    return 1;
}

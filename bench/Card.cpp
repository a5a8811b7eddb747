#include "bench/Card.h"

#include "fsutil/FileDescriptor.h"
#include "simulator/CardMaker.h"
#include "support/TemporaryFolder.h"

#include <array>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>
#include <unistd.h>

namespace Bench {
namespace {

void Require(bool isDone) {
    if (!isDone)
        throw std::system_error(errno, std::generic_category(), "reading a card");
}

void ReadFile(const std::string& path) {
    static std::array<char, 1024 * 1024> buffer;
    const JobsManagerD::FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    Require(static_cast<bool>(file));
    Require(read(file.Get(), buffer.data(), buffer.size()) > 0);
}

} // namespace

const Card& Card::Of(size_t jobs) {
    static std::map<size_t, std::unique_ptr<Card>> cards;
    std::unique_ptr<Card>& card = cards[jobs];
    if (!card)
        card.reset(new Card(jobs));
    return *card;
}

Card::Card(size_t jobs)
    : _jobs(jobs), _folder([jobs] {
          static const Testing::TemporaryFolder folder;
          return folder.MakeFolder(std::to_string(jobs));
      }()) {
    Simulator::MakeCard(_folder, {.jobs = jobs});
    for (const auto& entry : std::filesystem::directory_iterator(_folder))
        _jobFiles.push_back(entry.path() / "job.json");
    sync();
}

void ReadCard(const std::string& cardFolder) {
    const std::unique_ptr<DIR, int (*)(DIR*)> card(opendir(cardFolder.c_str()), closedir);
    Require(card != nullptr);
    while (const dirent64* const entry = readdir64(card.get()))
        if (entry->d_name[0] != '.')
            ReadFile(cardFolder + "/" + entry->d_name + "/job.json");
}

void ReadFiles(const std::vector<std::string>& paths) {
    for (const std::string& path : paths)
        ReadFile(path);
}

bool DropCaches() {
    sync();
    const JobsManagerD::FileDescriptor control(open("/proc/sys/vm/drop_caches", O_WRONLY | O_CLOEXEC));
    return control && write(control.Get(), "3", 1) == 1;
}

} // namespace Bench

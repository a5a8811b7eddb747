#pragma once

#include <string>
#include <vector>

namespace Bench {

/// A card full of jobs: job files of about 7 kB with 12 media each, a backup beside each, no media files.
class Card {
public:
    /// Made at its first use, on the disk of the temporary folder, and there until the end.
    static const Card& Of(size_t jobs);

    const std::string& Folder() const { return _folder; }
    size_t Jobs() const { return _jobs; }
    const std::vector<std::string>& JobFiles() const { return _jobFiles; }

private:
    explicit Card(size_t jobs);

    const size_t _jobs;
    const std::string _folder;
    std::vector<std::string> _jobFiles;
};

/// The floors of an index run and of a search, with the system calls and nothing else, on one thread. Both throw
/// std::system_error.

/// Lists the card, and opens, reads and closes the job file of each folder by its name.
void ReadCard(const std::string& cardFolder);
void ReadFiles(const std::vector<std::string>& paths);

/// Has the kernel forget what it holds of all disks. False without the right to it.
bool DropCaches();

} // namespace Bench

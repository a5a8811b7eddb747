#include "device/Trash.h"

#include "fsutil/FolderReader.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/HiddenFiles.h"
#include "fsutil/Paths.h"
#include "jobs/JobFolder.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <unistd.h>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using Locks::LockGuard;

namespace JobsManagerD {
namespace {

/// How long an operation waits for a card that is too full to hold two deletions.
constexpr std::chrono::seconds patience{1};

bool IsThere(const std::string& path) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
}

bool IsFolder(const std::string& path) {
    std::error_code ignored;
    return fs::is_directory(fs::symlink_status(path, ignored));
}

std::vector<std::string> NamesIn(const std::string& folder) {
    std::vector<std::string> names;
    try {
        FolderReader reader(folder);
        while (const FolderEntry* const entry = reader.Next())
            names.push_back(entry->name);
    } catch (const fs::filesystem_error&) {
        // What cannot be listed cannot be emptied either; the removal of the folder itself will tell.
    }
    return names;
}

/// A file in one of the folders of a card; empty when there is none.
std::string SomeFileBelow(const std::string& mountPoint) {
    std::error_code ignored;
    for (const fs::directory_entry& folder : fs::directory_iterator(mountPoint, ignored))
        for (const fs::directory_entry& file : fs::directory_iterator(folder.path(), ignored))
            if (file.is_regular_file(ignored))
                return file.path();
    return {};
}

} // namespace

Trash::Trash(const std::string& mountPoint) : _mountPoint(mountPoint), _path(JobFolder::Trash(mountPoint)) {}

Trash::Use::Use(std::shared_ptr<Trash> trash) : _trash(std::move(trash)) {
    const LockGuard lock(_trash->_mutex);
    _trash->_Enter();
}

Trash::Use& Trash::Use::operator=(Use&& other) noexcept {
    if (this != &other) {
        _End();
        _trash = std::move(other._trash);
    }
    return *this;
}

Trash::Use::~Use() { _End(); }

void Trash::Use::_End() {
    if (!_trash)
        return;
    TreeRemoval removal(_trash->_mountPoint);
    const LockGuard lock(_trash->_mutex);
    _trash->_Leave(removal);
}

Trash::Place& Trash::Place::operator=(Place&& other) noexcept {
    if (this != &other) {
        _End();
        _trash = std::move(other._trash);
        _name = std::move(other._name);
        _path = std::move(other._path);
    }
    return *this;
}

Trash::Place::~Place() { _End(); }

void Trash::Place::_End() {
    if (!_trash)
        return;
    TreeRemoval removal(_trash->_mountPoint);
    // What is left there is garbage, but an empty folder is not even that.
    removal.RemoveEmptyFolder(_name.empty() ? _trash->_path : _trash->_path + "/" + _name);
    {
        const LockGuard lock(_trash->_mutex);
        if (_name.empty())
            _trash->_isWhole = false;
        else
            _trash->_places.erase(_name);
        _trash->_Leave(removal);
    }
    _trash->_changed.notify_all();
    _trash = nullptr;
}

void Trash::_Leave(TreeRemoval& removal) {
    // Stays, as it should, while something is left in it.
    if (--_users == 0)
        removal.RemoveEmptyFolder(_path);
}

bool Trash::HasGarbage() const {
    const LockGuard lock(_mutex);
    return _users == 0 && IsThere(_path);
}

bool Trash::RemoveGarbage() {
    TreeRemoval removal(_mountPoint);
    return RemoveGarbage([&removal](const std::string& path) { return removal.RemoveAll(path); });
}

bool Trash::RemoveGarbage(const RemoveAll& removeAll) {
    if (!IsThere(_path))
        return true;
    if (!IsFolder(_path))
        return removeAll(_path);
    const Use use(shared_from_this());
    bool areGone = true;
    for (const std::string& name : NamesIn(_path)) {
        Place garbage;
        {
            const LockGuard lock(_mutex);
            if (_isWhole)
                return true;
            if (!_places.emplace(name, nullptr).second)
                continue;
            _Enter();
            garbage._trash = shared_from_this();
            garbage._name = name;
        }
        areGone = removeAll(_path + "/" + name) && areGone;
    }
    return areGone;
}

std::optional<Trash::Place> Trash::MakePlaceFor(const std::string& jobFile) {
    return _MakePlace(FileName(DirectoryPart(jobFile)), nullptr, jobFile);
}

std::optional<Trash::Place> Trash::MakePlaceForArrival(const std::string& name, const Card& owner) {
    return _MakePlace(name, &owner, IsOnFat(_mountPoint) ? SomeFileBelow(_mountPoint) : std::string());
}

std::optional<Trash::Place> Trash::_MakePlace(const std::string& name, const Card* owner,
                                              const std::string& bystander) {
    std::unique_lock<Locks::Mutex> lock(_mutex);
    _mutex.AssertHeld();
    const bool isUsable = _changed.wait_for(lock, patience, [this] {
        _mutex.AssertHeld();
        return !_isWhole;
    });
    std::error_code ignored;
    const bool isNew = isUsable && fs::create_directory(_path, ignored);
    if (!isUsable || !IsFolder(_path))
        return std::nullopt;
    Place place;
    place._trash = shared_from_this();
    place._name = _FreeName(name);
    place._path = _path + "/" + place._name;
    _places.emplace(place._name, owner);
    _Enter();
    lock.unlock();
    if (isNew && !owner)
        MakeHidden(_path);
    // A failing sync shows again when what comes here is synced.
    if (isNew)
        SyncNewFolder(_mountPoint, bystander);
    // The empty folder is what a rename replaces. Without it the rename makes the entry, as it should on FAT, where the
    // cluster of a folder that is replaced could be free before its entry is gone.
    if ((owner || !IsOnFat(_path)) && fs::create_directory(place._path, ignored))
        SyncNewFolder(_path, _mountPoint);
    return place;
}

std::optional<Trash::Place> Trash::TakeWhole() {
    const LockGuard lock(_mutex);
    if (_isWhole || !_places.empty() || IsThere(_path))
        return std::nullopt;
    Place place;
    place._trash = shared_from_this();
    place._path = _path;
    _isWhole = true;
    _Enter();
    return place;
}

void Trash::WaitForArrivalsOfOthers(const Card* owner) {
    std::unique_lock<Locks::Mutex> lock(_mutex);
    _changed.wait(lock, [this, owner] {
        _mutex.AssertHeld();
        return std::ranges::none_of(_places,
                                    [owner](const auto& place) { return place.second && place.second != owner; });
    });
}

/// Two operations may want a place of the same name: a job that arrives, and one of that name that is deleted.
std::string Trash::_FreeName(const std::string& name) const {
    std::string free = name;
    for (int n = 1; _places.contains(free) || IsThere(_path + "/" + free); ++n)
        free = name + "_" + std::to_string(n);
    return free;
}

} // namespace JobsManagerD

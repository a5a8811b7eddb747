#pragma once

#include "codes/Mutex.h"
#include "fsutil/FatOrder.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace JobsManagerD {

class Card;

/// The hidden folder ".DeletedJobs" of one mount point, where a job lies while it is being deleted, or while it
/// arrives. What no operation owns in there is garbage. The folder is made by the first operation that needs it and
/// goes with the last one. One object serves all that ever use the mount point, so that a card that is mounted anew
/// does not throw away what still arrives.
///
/// Threads: any. Operations run beside each other, each in a place of its own; the lock is never held while files are
/// copied or removed.
class Trash : public std::enable_shared_from_this<Trash> {
public:
    explicit Trash(const std::string& mountPoint);

    const std::string& Path() const { return _path; }

    /// Keeps the folder from being removed between operations.
    class Use {
    public:
        Use() = default;
        explicit Use(std::shared_ptr<Trash> trash);
        Use(Use&& other) noexcept = default;
        Use& operator=(Use&& other) noexcept;
        ~Use();

    private:
        void _End();
        std::shared_ptr<Trash> _trash;
    };

    /// One operation's own path in the trash folder, or the trash folder's own path on a card too full to make it.
    /// Whatever lies there when this ends is garbage.
    class Place {
    public:
        Place() = default;
        Place(Place&& other) noexcept = default;
        Place& operator=(Place&& other) noexcept;
        ~Place();

        explicit operator bool() const { return _trash != nullptr; }
        const std::string& Path() const { return _path; }

    private:
        friend class Trash;
        void _End();
        std::shared_ptr<Trash> _trash;
        std::string _name; ///< empty for the trash folder itself
        std::string _path;
    };

    using RemoveAll = std::function<bool(const std::string& path)>;
    /// Removes what is nobody's. False, with a log line, when something stays.
    bool RemoveGarbage();
    /// The same with a function that says whether it has removed all that lies at a path.
    bool RemoveGarbage(const RemoveAll& removeAll);
    /// True when nobody uses the folder and it is there.
    bool HasGarbage() const;

    // A place, as an empty folder where the card has room for it. Without value when the trash folder cannot be made.

    /// For a job of this card that is to be deleted.
    std::optional<Place> MakePlaceFor(const std::string& jobFile);
    /// For a folder that arrives on the card `owner`.
    std::optional<Place> MakePlaceForArrival(const std::string& name, const Card& owner);
    /// For a card on which the trash folder cannot be made: its own path, to rename a job to. Without value while
    /// others use the folder.
    std::optional<Place> TakeWhole();

    /// Waits until nothing arrives any more for another owner than this one: a card that has left and come back.
    void WaitForArrivalsOfOthers(const Card* owner);

private:
    std::optional<Place> _MakePlace(const std::string& name, const Card* owner, const std::string& bystander);
    std::string _FreeName(const std::string& name) const REQUIRES(_mutex);
    void _Leave(TreeRemoval& removal) REQUIRES(_mutex);
    void _Enter() REQUIRES(_mutex) { ++_users; }

    const std::string _mountPoint;
    const std::string _path;

    mutable Locks::Mutex _mutex;
    std::condition_variable_any _changed;
    /// By name, with the card to which something arrives there; null where something is deleted.
    std::map<std::string, const Card*> _places GUARDED_BY(_mutex);
    int _users GUARDED_BY(_mutex) = 0;
    /// The trash folder itself is a job that is being deleted.
    bool _isWhole GUARDED_BY(_mutex) = false;
};

} // namespace JobsManagerD

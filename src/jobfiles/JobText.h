#pragma once

#include "codes/Mutex.h"

#include <cstddef>
#include <string>

namespace JobsManagerD {

/// A job file above this size, in bytes, is read and parsed in turn: one at a time in the whole process.
constexpr size_t largeJobFile = 2 * 1024 * 1024;

/// Held as long as the text of a large job file, or what a parser made of it, is in memory. So a card full of such
/// files costs the memory of one of them, however many threads read. Taken before the lock of a path, never under it.
/// For one thread, which has no second one meanwhile.
class LargeFileTurn {
public:
    LargeFileTurn() = default;
    LargeFileTurn(const LargeFileTurn&) = delete;
    LargeFileTurn& operator=(const LargeFileTurn&) = delete;
    ~LargeFileTurn() { GiveBack(); }

    /// Waits for the turn of others to end. A turn that is held stays.
    void Take();
    void GiveBack();
    bool IsTaken() const { return _turn.owns_lock(); }

private:
    std::unique_lock<Locks::Mutex> _turn;
};

/// The bytes of a job file. Reading into the same one again reuses its storage.
struct JobText {
    /// Taken when the text is a large one. Goes after the text; what was made of the text has to go before it too.
    LargeFileTurn turn;
    std::string text;

    /// Drops a large text, and with it the turn.
    void Drop();
};

} // namespace JobsManagerD

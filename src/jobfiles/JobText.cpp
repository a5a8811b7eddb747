#include "jobfiles/JobText.h"

#include <malloc.h>

namespace JobsManagerD {

namespace {

/// By default the allocator takes the size of what is freed for the size of what will be wanted, and keeps as much for
/// each thread: with a few threads, a few large files.
bool GiveLargeMemoryBack() {
    constexpr int size = 1024 * 1024;
    return mallopt(M_MMAP_THRESHOLD, size) != 0 && mallopt(M_TRIM_THRESHOLD, size) != 0;
}

} // namespace

void LargeFileTurn::Take() {
    static Locks::Mutex turn;
    static const bool isSet = GiveLargeMemoryBack();
    static_cast<void>(isSet);
    if (!_turn)
        _turn = std::unique_lock(turn);
}

void LargeFileTurn::GiveBack() {
    if (!_turn)
        return;
    malloc_trim(0);
    _turn = {};
}

void JobText::Drop() {
    if (!turn.IsTaken())
        return;
    text = std::string();
    turn.GiveBack();
}

} // namespace JobsManagerD

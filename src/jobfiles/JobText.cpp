#include "jobfiles/JobText.h"

namespace JobsManagerD {

void LargeFileTurn::Take() {
    static Locks::Mutex turn;
    if (!_turn)
        _turn = std::unique_lock(turn);
}

void LargeFileTurn::GiveBack() {
    if (_turn)
        _turn = {};
}

void JobText::Drop() {
    if (!turn.IsTaken())
        return;
    text = std::string();
    turn.GiveBack();
}

} // namespace JobsManagerD

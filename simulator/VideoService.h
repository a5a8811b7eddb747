#pragma once

#include "simulator/PeerService.h"

namespace Simulator {

/// The video service: for each of "Recording", "Playback", "PhotoTalk" and "AutoLog" a state (0 when idle, 1 or 2 when
/// running) and the name of its file.
class VideoService : public PeerService {
public:
    VideoService(EventThread& loop, std::string busAddress);

    /// Sets both properties of the activity and tells them.
    void Start(const std::string& activity, const std::string& filename, int32_t state = 1);
    void Stop(const std::string& activity) { Start(activity, "", 0); }
    /// Sets one property, to any type, and tells it.
    void Set(const std::string& property, const Value& value);
};

} // namespace Simulator

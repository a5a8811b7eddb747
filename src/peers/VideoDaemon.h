#pragma once

#include <cstdint>
#include <string>

namespace Videod {

/// The video service, which records and plays media. It is asked one kind of question: is a recording or a playback
/// running, and from which file? States 1 and 2 count as running. Each getter blocks for a round trip on a connection
/// of its own, may be called on any thread, and returns a negative errno on failure, which it does not log.
class VideoDaemonDbusHandler {
public:
    // States as numbers, files by their paths.
    static int32_t GetRecordingState(int32_t& state);
    static int32_t GetPlaybackState(int32_t& state);
    static int32_t GetPhotoTalkState(int32_t& state);
    static int32_t GetAutoLogState(int32_t& state);
    static int32_t GetRecordingFilename(std::string& filename);
    static int32_t GetPlaybackFilename(std::string& filename);
    static int32_t GetPhotoTalkFilename(std::string& filename);
    static int32_t GetAutoLogFilename(std::string& filename);

    /// The file that is being played; empty when none is.
    static int32_t GetPlayingFilename(std::string& filename);

    static bool IsActive(int32_t state) { return state == 1 || state == 2; }

    /// Whether a file that the service names lies in the folder: "Job 1" is not in the way of "Job 10". The service may
    /// put something before the path.
    static bool IsWithin(const std::string& filename, const std::string& folder) {
        return filename.find(folder + "/") != std::string::npos;
    }
};

} // namespace Videod

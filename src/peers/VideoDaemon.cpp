#include "peers/VideoDaemon.h"

#include "peers/buslink/Properties.h"

namespace Videod {
namespace {

template <typename T>
int32_t Read(const char* property, T& value) {
    std::string error;
    return buslink_utils::GetProperty(nullptr, "com.corvane.common.Video1", "/com/corvane/common/Video1",
                                      "com.corvane.common.Video1.Control", property, value, error);
}

} // namespace

int32_t VideoDaemonDbusHandler::GetRecordingState(int32_t& state) { return Read("RecordingState", state); }

int32_t VideoDaemonDbusHandler::GetPlaybackState(int32_t& state) { return Read("PlaybackState", state); }

int32_t VideoDaemonDbusHandler::GetPhotoTalkState(int32_t& state) { return Read("PhotoTalkState", state); }

int32_t VideoDaemonDbusHandler::GetAutoLogState(int32_t& state) { return Read("AutoLogState", state); }

int32_t VideoDaemonDbusHandler::GetRecordingFilename(std::string& filename) {
    return Read("RecordingFilename", filename);
}

int32_t VideoDaemonDbusHandler::GetPlaybackFilename(std::string& filename) {
    return Read("PlaybackFilename", filename);
}

int32_t VideoDaemonDbusHandler::GetPhotoTalkFilename(std::string& filename) {
    return Read("PhotoTalkFilename", filename);
}

int32_t VideoDaemonDbusHandler::GetAutoLogFilename(std::string& filename) { return Read("AutoLogFilename", filename); }

int32_t VideoDaemonDbusHandler::GetPlayingFilename(std::string& filename) {
    filename.clear();
    int32_t state = 0;
    const int32_t result = GetPlaybackState(state);
    return result < 0 || !IsActive(state) ? result : GetPlaybackFilename(filename);
}

} // namespace Videod

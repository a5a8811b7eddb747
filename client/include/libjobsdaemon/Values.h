#pragma once

#include "libjobsdaemon/ReturnCodes.h"

#include <cstdint>
#include <string>
#include <tuple>

// What the methods of the service take and answer. An answer whose code is not JOBS_RTN_SUCCEEDED has nothing in its
// other members, unless said otherwise. `Members` are its types as they travel.

namespace libjobsdaemon {

/// A text, or a JSON text.
struct [[nodiscard]] TextResult {
    using Members = std::tuple<jobsDaemonRtn_e, std::string>;
    jobsDaemonRtn_e code;
    std::string text;
};

struct [[nodiscard]] FlagResult {
    using Members = std::tuple<jobsDaemonRtn_e, bool>;
    jobsDaemonRtn_e code;
    bool flag;
};

struct [[nodiscard]] NumberResult {
    using Members = std::tuple<jobsDaemonRtn_e, int32_t>;
    jobsDaemonRtn_e code;
    int32_t number;
};

struct [[nodiscard]] ContactIDResult {
    using Members = std::tuple<jobsDaemonRtn_e, uint8_t>;
    jobsDaemonRtn_e code;
    uint8_t contactID; ///< 1 to 255
};

/// The job that is current from now on.
struct [[nodiscard]] JobResult {
    using Members = std::tuple<jobsDaemonRtn_e, std::string, std::string>;
    jobsDaemonRtn_e code;
    std::string deviceID; ///< the device that was meant, also when the call was refused
    std::string summary;  ///< JSON
};

/// Where a new media file may go: `folder` + "/" + `stem` + an extension is free.
struct [[nodiscard]] MediaPathResult {
    using Members = std::tuple<jobsDaemonRtn_e, std::string, std::string>;
    jobsDaemonRtn_e code;
    std::string folder;
    std::string stem;
};

struct [[nodiscard]] CountsResult {
    using Members = std::tuple<jobsDaemonRtn_e, int32_t, int32_t, int32_t, int32_t, int32_t>;
    jobsDaemonRtn_e code;
    int32_t total;
    int32_t autologs;
    int32_t images;
    int32_t photoTalks;
    int32_t videos;
};

enum class SortBy : uint8_t { creation = 0, modification = 1 };
enum class Order : uint8_t { descending = 0, ascending = 1 };
enum class Match : uint8_t { contains = 0, startsWith = 1, exactly = 2 };

/// An angle of the camera in degrees, if there is one.
struct Angle {
    bool isPresent = false;
    int32_t degrees = 0;
};

/// The reel counter, if there is one.
struct Distance {
    bool isPresent = false;
    int32_t absolute = 0;
    int32_t relative = 0;
};

/// What the unit measured when a media item was captured.
struct Readings {
    Angle roll;
    Angle inclinometer;
    Distance distance;
};

/// The files of a recorded media item, as full paths. None but the last may be empty.
struct RecordingFiles {
    std::string main; ///< the video; of a photo with a spoken comment the sound
    std::string recovery;
    std::string third;    ///< the thumbnail; of a photo with a spoken comment the image
    std::string miscData; ///< may be empty
};

/// The service as its process is seen on the bus.
struct ServiceProcess {
    uint32_t processID = 0;
    /// The status line that the service gives its manager, with its version; empty where no service manager runs it.
    std::string status;
};

/// A mounted device, by its properties.
struct Device {
    std::string id;
    std::string state;        ///< "Idle", "Indexing", "Converting", "Deleting", "Moving From", ...
    std::string currentJobID; ///< empty when it has none
    bool jobListStatus = true;
    std::string jobListStats; ///< JSON
    std::string searchStats;  ///< JSON
};

} // namespace libjobsdaemon

#pragma once

#include "codes/Mutex.h"
#include "fsutil/FileDescriptor.h"
#include "jobfiles/JobText.h"
#include "jobfiles/PathLocks.h"

#include <cstdint>
#include <functional>
#include <string>
#include <system_error>
#include <unordered_map>

namespace JobsManagerD {

/// What was read of a job file, apart from the bytes.
struct ReadState {
    FileReading reading = FileReading::unopenable;
    /// Which failed save left the file torn; 0 for none.
    uint64_t tornBy = 0;
    /// Of the bytes; 0 until `Remember`, and for a file that was not read whole.
    size_t fingerprint = 0;

    /// Keeps enough of the bytes to tell later whether the file is still what it was.
    void Remember(const JobText& bytes);
};

/// The job files of one card as bytes: nobody reads half a save, and what a failed save has left torn is neither copied
/// over its backup nor forgotten. On any thread. Nothing here parses.
class JobFileBytes {
public:
    ReadState Read(const std::string& path, JobText& bytes) const;

    /// As SafeFileWrite does it.
    bool Write(const std::string& path, const std::string& contents);

    /// A file that was torn when it was read as `state` has turned out to be whole.
    void FoundWhole(const std::string& path, const ReadState& state);

    /// Puts the backup that was read as `good` in the place of the file that was read as `broken`, and a copy of it in
    /// the place of the backup; what of this fails is left. False, with nothing done, when one of the two is no longer
    /// what `Remember` saw. Uses the storage of `bytes`.
    bool Recover(const std::string& path, const ReadState& broken, const ReadState& good, JobText& bytes);

    /// Copies the file and its backup, if it is a plain file that can be read, into an open folder.
    std::error_code CopyTo(const std::string& path, int folder) const;

private:
    void _PutBackupInPlace(const std::string& path);
    void _MarkTorn(const std::string& path, bool isTorn);
    uint64_t _TornBy(const std::string& path) const;

    mutable PathLocks _locks;
    mutable Locks::Mutex _tornMutex;
    std::unordered_map<std::string, uint64_t> _torn GUARDED_BY(_tornMutex);
    uint64_t _tears GUARDED_BY(_tornMutex) = 0;
};

} // namespace JobsManagerD

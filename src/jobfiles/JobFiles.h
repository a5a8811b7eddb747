#pragma once

#include "codes/ReturnCodes.h"
#include "fsutil/CopyFolder.h"
#include "jobfiles/JobText.h"

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <system_error>
#include <vector>

namespace JobsManagerD {

class Job;
class JobFileBytes;
class JobFileHandler;

/// The job files of one card: which handler reads and writes which file, a lock for each path, and which files a failed
/// save has left torn. One object for each card, shared by all that work on it.
///
/// Threads: every verb on any thread. The lock of a path is a leaf and is held while bytes are read or written, never
/// while they are parsed; paths do not wait for one another. A large file waits for its turn (LargeFileTurn).
class JobFiles {
public:
    JobFiles();
    JobFiles(const JobFiles&) = delete;
    JobFiles& operator=(const JobFiles&) = delete;
    ~JobFiles();

    // The job's path names the file. A format that nobody handles is logged and gives JOBS_RTN_UNSUPPORTED_FORMAT.

    /// Fills the summary only. A file that does not parse is replaced by its backup, so a reading may write.
    jobsDaemonRtn_e LoadSummary(Job& job) const;
    /// Fills all else; the same may happen.
    jobsDaemonRtn_e Load(Job& job) const;
    /// Success means that the job as it is now is on the medium. After a failure the card holds it as it was before.
    jobFileOpRtn_e Save(const Job& job) const;
    /// The document as it lies in the file, for a search; the same recovery as in loading.
    jobFileOpRtn_e ExtractJson(const Job& job, nlohmann::json& document) const;
    /// To be asked before `Save` and `ExtractJson`; `method` goes into the line.
    jobsDaemonRtn_e CheckFormat(const Job& job, const char* method) const;

    /// The bytes of a job file as some save has left them, without a look at what they say. JOBFILE_OP_FS_ERROR for a
    /// file that cannot be read whole, is no regular file, or is too long. Logs nothing: loading does.
    jobFileOpRtn_e ReadBytes(const std::string& path, JobText& bytes) const;

    /// Copies a job's folder into `to`, a folder that exists and is empty, as CopyFolderContents does, but its job file
    /// and backup as one state that the job had.
    std::error_code CopyFolder(const std::string& jobFilePath, const std::string& to) const;
    /// Brings such a copy up to date after the job has changed.
    std::error_code RefreshCopy(const std::string& jobFilePath, const std::string& to) const;
    /// Copies the job file and its backup, if there is one, into an open folder, under their names.
    std::error_code CopyTo(const std::string& path, int folder) const;

private:
    CopiedApart _CopiedApart(const std::string& jobFilePath) const;
    const JobFileHandler* _FindFileHandler(const std::string& extension) const;

    std::shared_ptr<JobFileBytes> _bytes;
    std::vector<std::shared_ptr<JobFileHandler>> _fileHandlers;
};

} // namespace JobsManagerD

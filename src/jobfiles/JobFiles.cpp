#include "jobfiles/JobFiles.h"

#include "fsutil/CopyFolder.h"
#include "fsutil/Paths.h"
#include "jobfiles/JobFileBytes.h"
#include "jobfiles/JobFileHandlerJDB3.h"
#include "jobfiles/JobFileHandlerJSON.h"
#include "jobs/Job.h"

#include <algorithm>
#include <syslog.h>

namespace JobsManagerD {

JobFiles::JobFiles() : _bytes(std::make_shared<JobFileBytes>()) {
    _fileHandlers.push_back(std::make_shared<JobFileHandlerJSON>(_bytes));
    _fileHandlers.push_back(std::make_shared<JobFileHandlerJDB3>());
}

JobFiles::~JobFiles() = default;

const JobFileHandler* JobFiles::_FindFileHandler(const std::string& extension) const {
    const auto found = std::ranges::find(_fileHandlers, extension, &JobFileHandler::GetFileExtension);
    return found == _fileHandlers.end() ? nullptr : found->get();
}

jobsDaemonRtn_e JobFiles::LoadSummary(Job& job) const {
    const std::string extension = GetPathExtension(job.JobFilePath());
    if (const JobFileHandler* const handler = _FindFileHandler(extension))
        return ConvertFileOpRtn(handler->ParseJobFileSummary(job));
    syslog(LOG_ERR, "ManagedDevice::_LoadJobSummary - Unsupported File Format %s", extension.c_str());
    return JOBS_RTN_UNSUPPORTED_FORMAT;
}

jobsDaemonRtn_e JobFiles::Load(Job& job) const {
    const std::string extension = GetPathExtension(job.JobFilePath());
    if (const JobFileHandler* const handler = _FindFileHandler(extension))
        return ConvertFileOpRtn(handler->ParseJobFile(job));
    syslog(LOG_ERR, "ManagedDevice::_LoadJob - Unsupported File Format %s", extension.c_str());
    return JOBS_RTN_UNSUPPORTED_FORMAT;
}

jobsDaemonRtn_e JobFiles::CheckFormat(const Job& job, const char* method) const {
    const std::string extension = GetPathExtension(job.JobFilePath());
    if (_FindFileHandler(extension))
        return JOBS_RTN_SUCCEEDED;
    syslog(LOG_ERR, "ManagedDevice::%s - Unsupported jobfile format - extension %s", method, extension.c_str());
    return JOBS_RTN_UNSUPPORTED_FORMAT;
}

jobFileOpRtn_e JobFiles::Save(const Job& job) const {
    const JobFileHandler* const handler = _FindFileHandler(GetPathExtension(job.JobFilePath()));
    return handler ? handler->UpdateJobFile(job) : JOBFILE_OP_UNSUPPORTED;
}

jobFileOpRtn_e JobFiles::ExtractJson(const Job& job, nlohmann::json& document) const {
    const JobFileHandler* const handler = _FindFileHandler(GetPathExtension(job.JobFilePath()));
    return handler ? handler->ExtractJobJson(job, document) : JOBFILE_OP_UNSUPPORTED;
}

jobFileOpRtn_e JobFiles::ReadBytes(const std::string& path, JobText& bytes) const {
    return _bytes->Read(path, bytes).reading == FileReading::whole ? JOBFILE_OP_SUCCEEDED : JOBFILE_OP_FS_ERROR;
}

std::error_code JobFiles::CopyTo(const std::string& path, int folder) const { return _bytes->CopyTo(path, folder); }

std::error_code JobFiles::CopyFolder(const std::string& jobFilePath, const std::string& to) const {
    return CopyFolderContents(DirectoryPart(jobFilePath), to, _CopiedApart(jobFilePath));
}

std::error_code JobFiles::RefreshCopy(const std::string& jobFilePath, const std::string& to) const {
    return RefreshFolderContents(DirectoryPart(jobFilePath), to, _CopiedApart(jobFilePath));
}

CopiedApart JobFiles::_CopiedApart(const std::string& jobFilePath) const {
    if (GetPathExtension(jobFilePath) != "json")
        return {};
    const std::string file = FileName(jobFilePath);
    return {{file, BackupPath(file)}, [this, jobFilePath](int folder) { return CopyTo(jobFilePath, folder); }};
}

} // namespace JobsManagerD

#pragma once

#include <string>

namespace JobsManagerD {

/// The one routine that writes a job file. Keeps the previous state beside the file as its backup, then rewrites the
/// file in place: copy to the backup, sync the backup, truncate, write, sync the file. In that order a power cut at
/// any moment leaves one of the two complete on the medium. A failed backup is logged and does not stop the write.
///
/// True as soon as the file could be opened for writing: a failed write shows at the next reading, which falls back to
/// the backup. Symbolic links, FIFOs and folders in the place of the file or its backup are not written to.
bool SafeFileWrite(const std::string& path, const std::string& contents);

} // namespace JobsManagerD

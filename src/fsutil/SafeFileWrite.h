#pragma once

#include <string>

namespace JobsManagerD {

/// The one routine that writes a job file. Keeps the previous state beside the file as its backup, then rewrites the
/// file in place: copy to the backup, sync the backup, truncate, write, sync the file. In that order a power cut at
/// any moment leaves one of the two complete on the medium.
///
/// True when `contents` is on the medium. After a failure the medium holds what the file held before: the file itself
/// is untouched, or has its old text again, or is torn and its backup is whole; a file that did not exist is gone.
/// `isTorn` says whether it is torn. A torn file comes back in with it set: it is not copied over its backup. A text
/// that `ReadFile` would refuse for its length is not written.
///
/// A backup that cannot be opened is logged and does not stop the write; one that cannot be written does. Symbolic
/// links, FIFOs and folders in the place of the file or its backup are not written to.
bool SafeFileWrite(const std::string& path, const std::string& contents, bool& isTorn);

} // namespace JobsManagerD

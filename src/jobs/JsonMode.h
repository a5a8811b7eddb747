#pragma once

namespace JobsManagerD {

/// What a JSON writer writes for: a job file, with private notes scrambled, or a client, with what only replies show.
enum jsonMode { JSON_MODE_FILE = 0, JSON_MODE_CLIENT = 1 };

} // namespace JobsManagerD

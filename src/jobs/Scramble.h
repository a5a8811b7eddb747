#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace JobsManagerD {

// Private notes are hidden from a casual reader of a job file: each byte XORed with the bytes of a key in turn. The
// key is the ID of the owning item, so this is no protection.

/// Throws std::out_of_range for a text that is not empty and an empty key.
std::vector<uint8_t> ScrambleBytes(const std::string& text, const std::string& key);

/// The reverse, with the same exception.
std::string UnscrambleBytes(const std::vector<uint8_t>& bytes, const std::string& key);

} // namespace JobsManagerD

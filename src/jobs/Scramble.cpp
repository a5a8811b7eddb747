#include "jobs/Scramble.h"

namespace JobsManagerD {
namespace {

template <typename Result, typename Bytes>
Result XorWithKey(const Bytes& bytes, const std::string& key) {
    Result result;
    result.reserve(bytes.size());
    size_t place = 0;
    for (const auto byte : bytes) {
        result.push_back(static_cast<typename Result::value_type>(byte ^ key.at(place)));
        place = place + 1 < key.size() ? place + 1 : 0;
    }
    return result;
}

} // namespace

std::vector<uint8_t> ScrambleBytes(const std::string& text, const std::string& key) {
    return XorWithKey<std::vector<uint8_t>>(text, key);
}

std::string UnscrambleBytes(const std::vector<uint8_t>& bytes, const std::string& key) {
    return XorWithKey<std::string>(bytes, key);
}

} // namespace JobsManagerD

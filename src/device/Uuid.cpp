#include "device/Uuid.h"

#include <array>
#include <cstdint>
#include <random>

namespace JobsManagerD {

std::string GenerateUuid() {
    std::mt19937 generator(std::random_device{}());
    std::uniform_int_distribution<int> anyByte(0, 255);
    std::array<uint8_t, 16> bytes{};
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(anyByte(generator));
    bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<uint8_t>((bytes[8] & 0x1F) | 0xC0);

    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < bytes.size(); ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0x0F];
        if (i == 3 || i == 5 || i == 7 || i == 9)
            text += '-';
    }
    return text;
}

} // namespace JobsManagerD

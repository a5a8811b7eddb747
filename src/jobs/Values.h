#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// The plain values of which jobs and media are made. Texts are byte strings and never interpreted; an empty text means
// that the field is not set.

namespace JobsManagerD {

using TextMap = std::map<std::string, std::string>;

/// Decimal degrees as texts, kept byte for byte.
struct Position {
    std::string latitude;
    std::string longitude;

    bool IsSet() const { return !latitude.empty() || !longitude.empty(); }
    bool operator==(const Position&) const = default;
};

/// Readings of the reel counter, in its own unit: absolute, and relative to the operator's zero.
struct ReelDistance {
    bool present = false;
    int32_t absolute = 0;
    int32_t relative = 0;
};

/// The unit that recorded a job or a media item.
struct Source {
    std::string model;
    std::string serial;
    std::string version;
};

/// UTC texts of the form "%Y-%m-%dT%H:%M:%SZ", which sort as bytes.
struct Timestamp {
    std::string createTime;
    std::string modifiedTime;
};

/// Total is the sum of the other four. All wrap silently.
struct MediaCounts {
    uint16_t total = 0;
    uint16_t autologs = 0;
    uint16_t images = 0;
    uint16_t photoTalks = 0;
    uint16_t videos = 0;

    bool operator==(const MediaCounts&) const = default;
};

/// The fields are whatever a client sends.
struct Address {
    TextMap fields;
    Position position;

    bool IsEmpty() const { return fields.empty() && !position.IsSet(); }
    bool operator==(const Address&) const = default;
};

struct Contact {
    Address address;
    /// Identity inside one job, 1 to 255; 0 means none.
    uint8_t id = 0;
    /// Who provided the contact: `companyContactSource` for the company contact that a new job gets.
    uint32_t contactSource = 0;
    TextMap phones;
    TextMap names;
    TextMap web;

    /// Neither `id` nor `contactSource` counts.
    bool IsEmpty() const { return address.IsEmpty() && phones.empty() && names.empty() && web.empty(); }
    /// Neither `id` nor `contactSource` is compared.
    bool SaysTheSameAs(const Contact& other) const {
        return address == other.address && phones == other.phones && names == other.names && web == other.web;
    }
};

constexpr uint32_t companyContactSource = 1;

/// The ID that one more contact gets: above the highest in use, or, when that is 255, the lowest free one above the
/// lowest in use, else 1.
uint8_t NextContactId(const std::vector<Contact>& contacts);

} // namespace JobsManagerD

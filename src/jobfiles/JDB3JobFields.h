#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

// What a job database of the earlier generation holds. The members are named after the columns from which they are
// read; dates are in universal time. All starts at zero and empty.

namespace JobsManagerD {

/// A thing captured; its paths are relative to the folder of its segment.
struct JDB3Bookmark {
    int32_t Id = 0;
    int32_t SegmentId = 0;
    std::string UniqueId;
    std::string Type;
    std::tm Timestamp{};
    int32_t IsSelected = 0;
    std::string Note;
    std::string PrivateNote;
    std::string VideoPath;
    std::string ImagePath;
    std::string AudioPath;
    std::string DataPath;
};

/// A stretch of the inspection, with a folder of its own inside the job folder.
struct JDB3Segment {
    int32_t Id = 0;
    std::string RelativePath;
    std::string Purpose;
    std::string Quote;
    std::string Action;
    std::string Summary;
    std::string ReasonForCall;
    std::string Description;
    std::string PrivateNote;
    std::string Source;
};

struct JDB3Contact {
    int32_t Id = 0;
    std::string Title;
    std::string FirstName;
    std::string LastName;
    std::string Company;
    std::string EmailAddress;
    std::string WebAddress;
    std::string HomeNumber;
    std::string BusinessNumber;
    std::string MobileNumber;
    std::string FaxNumber;
};

struct JDB3Address {
    int32_t Id = 0;
    int32_t ContactId = 0;
    std::string AddressType;
    std::string Street;
    std::string City;
    std::string State;
    std::string PostalCode;
    std::string Country;
    double Latitude = 0;
    double Longitude = 0;
};

/// Says what an address's own `ContactId` says too.
struct JDB3AddressLink {
    int32_t AddressId = 0;
    int32_t ContactId = 0;
};

struct JDB3JobFields {
    int64_t JobSize = 0;
    std::tm DateLastCalculated{};
    int32_t JobLocked = 0;
    std::string UniqueId;
    std::string Name;
    std::string ReasonForCall;
    std::string Description;
    std::string PrivateNote;
    std::string Source;
    std::string Serial;
    std::string Version;
    std::tm StartTime{};
    std::tm LastModifiedTime{};
    int32_t CustomerId = 0;
    int32_t InspectorId = 0;
    int32_t LocationId = 0;
    double Latitude = 0;
    double Longitude = 0;
    int32_t nAudioImage = 0;
    int32_t nAutolog = 0;
    int32_t nImage = 0;
    int32_t nVideo = 0;
    std::vector<JDB3Bookmark> bookmarks;
    std::vector<JDB3Segment> segments;
    std::vector<JDB3Contact> contacts;
    std::vector<JDB3Address> addresses;
    std::vector<JDB3AddressLink> addressLinks;
};

} // namespace JobsManagerD

#include "jobfiles/JDB3Tables.h"

#include "jobfiles/SqliteReader.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <syslog.h>

namespace JobsManagerD {
namespace {

/// A column behind these cannot be found by name.
constexpr int mostColumns = 50;
constexpr int uuidSize = 16;

/// The first three groups lie in the blob with their least byte first.
std::string UuidText(std::span<const uint8_t> bytes) {
    constexpr const char* digits = "0123456789abcdef";
    constexpr size_t order[uuidSize] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    std::string text;
    for (const size_t place : order) {
        text += digits[bytes[place] >> 4];
        text += digits[bytes[place] & 0xf];
        if (text.size() == 8 || text.size() == 13 || text.size() == 18 || text.size() == 23)
            text += '-';
    }
    return text;
}

} // namespace

/// A column, and the member that it fills.
template <typename Record>
struct JDB3Tables::Column {
    template <typename Value>
    Column(const char* columnName, bool (JDB3Tables::*get)(const SqliteStatement&, const char*, Value&),
           Value Record::*member)
        : name(columnName), read([get, member](JDB3Tables& helper, const SqliteStatement& row, const char* readName,
                                               Record& record) { (helper.*get)(row, readName, record.*member); }) {}

    const char* name;
    std::function<void(JDB3Tables&, const SqliteStatement&, const char*, Record&)> read;
};

struct JDB3Tables::Columns {
    using Job = JDB3JobFields;
    using Bookmark = JDB3Bookmark;
    using Segment = JDB3Segment;
    using Contact = JDB3Contact;
    using Address = JDB3Address;
    using Link = JDB3AddressLink;
    using H = JDB3Tables;

    static inline const std::vector<Column<Job>> jobInfo{
        {"JobSize", &H::GetInt64, &Job::JobSize},
        {"DateLastCalculated", &H::GetDate, &Job::DateLastCalculated},
        {"JobLocked", &H::GetInt, &Job::JobLocked},
    };
    static inline const std::vector<Column<Job>> job{
        {"UniqueId", &H::GetUuid, &Job::UniqueId},
        {"Name", &H::GetString, &Job::Name},
        {"ReasonForCall", &H::GetString, &Job::ReasonForCall},
        {"Description", &H::GetString, &Job::Description},
        {"PrivateNote", &H::GetString, &Job::PrivateNote},
        {"Source", &H::GetString, &Job::Source},
        {"Serial", &H::GetString, &Job::Serial},
        {"Version", &H::GetString, &Job::Version},
        {"StartTime", &H::GetDate, &Job::StartTime},
        {"LastModifiedTime", &H::GetDate, &Job::LastModifiedTime},
        {"CustomerId", &H::GetInt, &Job::CustomerId},
        {"InspectorId", &H::GetInt, &Job::InspectorId},
        {"LocationId", &H::GetInt, &Job::LocationId},
    };
    static inline const std::vector<Column<Job>> location{
        {"Latitude", &H::GetDouble, &Job::Latitude},
        {"Longitude", &H::GetDouble, &Job::Longitude},
    };
    static inline const std::vector<Column<Bookmark>> bookmark{
        {"Id", &H::GetInt, &Bookmark::Id},
        {"SegmentId", &H::GetInt, &Bookmark::SegmentId},
        {"UniqueId", &H::GetUuid, &Bookmark::UniqueId},
        {"Type", &H::GetString, &Bookmark::Type},
        {"Timestamp", &H::GetDate, &Bookmark::Timestamp},
        {"IsSelected", &H::GetInt, &Bookmark::IsSelected},
        {"Note", &H::GetString, &Bookmark::Note},
        {"PrivateNote", &H::GetString, &Bookmark::PrivateNote},
        {"VideoPath", &H::GetString, &Bookmark::VideoPath},
        {"ImagePath", &H::GetString, &Bookmark::ImagePath},
        {"AudioPath", &H::GetString, &Bookmark::AudioPath},
        {"DataPath", &H::GetString, &Bookmark::DataPath},
    };
    static inline const std::vector<Column<Segment>> segment{
        {"Id", &H::GetInt, &Segment::Id},
        {"RelativePath", &H::GetString, &Segment::RelativePath},
        {"Purpose", &H::GetString, &Segment::Purpose},
        {"Quote", &H::GetString, &Segment::Quote},
        {"Action", &H::GetString, &Segment::Action},
        {"Summary", &H::GetString, &Segment::Summary},
        {"ReasonForCall", &H::GetString, &Segment::ReasonForCall},
        {"Description", &H::GetString, &Segment::Description},
        {"PrivateNote", &H::GetString, &Segment::PrivateNote},
        {"Source", &H::GetString, &Segment::Source},
    };
    static inline const std::vector<Column<Contact>> contact{
        {"Id", &H::GetInt, &Contact::Id},
        {"Title", &H::GetString, &Contact::Title},
        {"FirstName", &H::GetString, &Contact::FirstName},
        {"LastName", &H::GetString, &Contact::LastName},
        {"Company", &H::GetString, &Contact::Company},
        {"EmailAddress", &H::GetString, &Contact::EmailAddress},
        {"WebAddress", &H::GetString, &Contact::WebAddress},
        {"HomeNumber", &H::GetString, &Contact::HomeNumber},
        {"BusinessNumber", &H::GetString, &Contact::BusinessNumber},
        {"MobileNumber", &H::GetString, &Contact::MobileNumber},
        {"FaxNumber", &H::GetString, &Contact::FaxNumber},
    };
    static inline const std::vector<Column<Address>> address{
        {"Id", &H::GetInt, &Address::Id},
        {"ContactId", &H::GetInt, &Address::ContactId},
        {"AddressType", &H::GetString, &Address::AddressType},
        {"Street", &H::GetString, &Address::Street},
        {"City", &H::GetString, &Address::City},
        {"State", &H::GetString, &Address::State},
        {"PostalCode", &H::GetString, &Address::PostalCode},
        {"Country", &H::GetString, &Address::Country},
        {"Latitude", &H::GetDouble, &Address::Latitude},
        {"Longitude", &H::GetDouble, &Address::Longitude},
    };
    static inline const std::vector<Column<Link>> addressLink{
        {"AddressId", &H::GetInt, &Link::AddressId},
        {"ContactId", &H::GetInt, &Link::ContactId},
    };
};

// Rows ----------------------------------------------------------------------------------------------------------------

void JDB3Tables::_RecordColumnNames(const SqliteStatement& statement) {
    _columnNames.clear();
    if (!statement) {
        syslog(LOG_ERR, "JDB3helper::_RecordColumnNames - Invalid statement");
        return;
    }
    const int count = std::min(statement.ColumnCount(), mostColumns);
    for (int column = 0; column < count; ++column)
        _columnNames.emplace_back(statement.ColumnName(column));
}

bool JDB3Tables::_ParseRecordRow(int32_t key, const SqliteStatement& row) {
    switch (key) {
    case JOB_INFO:
        _ReadColumns(row, Columns::jobInfo, _fields);
        return true;
    case JOBS:
        _ReadColumns(row, Columns::job, _fields);
        return true;
    case BOOKMARK_TYPES:
        _CountBookmark(row);
        return true;
    case LOCATION:
        _ReadColumns(row, Columns::location, _fields);
        return true;
    case ADDRESS_LINKS:
        _AppendRecord(row, Columns::addressLink, _fields.addressLinks);
        return true;
    case ADDRESSES:
        _AppendRecord(row, Columns::address, _fields.addresses);
        return true;
    case BOOKMARKS:
        _AppendRecord(row, Columns::bookmark, _fields.bookmarks);
        return true;
    case CONTACTS:
        _AppendRecord(row, Columns::contact, _fields.contacts);
        return true;
    case SEGMENTS:
        _AppendRecord(row, Columns::segment, _fields.segments);
        return true;
    default:
        syslog(LOG_ERR, "JDB3helper::_ParseRecordRow - Invalid statement index: %i", key);
        return false;
    }
}

void JDB3Tables::_CountBookmark(const SqliteStatement& row) {
    static constexpr std::pair<std::string_view, int32_t JDB3JobFields::*> counters[] = {
        {"AUDIOIMAGE", &JDB3JobFields::nAudioImage},
        {"AUTOLOG", &JDB3JobFields::nAutolog},
        {"IMAGE", &JDB3JobFields::nImage},
        {"VIDEO", &JDB3JobFields::nVideo},
    };
    const char* const text = row.Text(0);
    const std::string_view type = text ? text : "";
    for (const auto& [name, counter] : counters)
        if (type == name)
            ++(_fields.*counter);
}

/// A column that is missing leaves its member as it was.
template <typename Record>
void JDB3Tables::_ReadColumns(const SqliteStatement& row, const std::vector<Column<Record>>& columns, Record& record) {
    for (const Column<Record>& column : columns)
        column.read(*this, row, column.name, record);
}

template <typename Record>
void JDB3Tables::_AppendRecord(const SqliteStatement& row, const std::vector<Column<Record>>& columns,
                               std::vector<Record>& records) {
    Record record;
    _ReadColumns(row, columns, record);
    records.push_back(std::move(record));
    _bytesRead += sizeof record;
}

// Getters. Some of their lines name another getter; readers of the log know them so. ----------------------------------

int JDB3Tables::_GetFieldColumnIndex(const char* name) const {
    const auto found = std::ranges::find(_columnNames, name);
    if (found != _columnNames.end())
        return static_cast<int>(found - _columnNames.begin());
    syslog(LOG_ERR, "JDB3helper::_GetFieldColumnIndex - fieldName %s not found", name);
    return -1;
}

int JDB3Tables::_FindColumn(const SqliteStatement& row, const char* name, const char* getterOfStatementLine,
                            const char* getterOfFieldLine, const char* ending) const {
    if (!row) {
        syslog(LOG_ERR, "JDB3helper::%s - Invalid statement", getterOfStatementLine);
        return -1;
    }
    const int column = _GetFieldColumnIndex(name);
    if (column < 0)
        syslog(LOG_ERR, "JDB3helper::%s - Field not found: %s%s", getterOfFieldLine, name, ending);
    return column;
}

bool JDB3Tables::GetDate(const SqliteStatement& row, const char* name, std::tm& value) {
    const int column = _FindColumn(row, name, "GetDate", "GetDate", ".  Setting time to the epoch");
    if (column < 0) {
        constexpr time_t epoch = 0;
        if (row)
            gmtime_r(&epoch, &value);
        return false;
    }
    const char* const text = row.Text(column);
    if (!text)
        return false;
    strptime(text, "%Y-%m-%d %H:%M:%S", &value);
    return true;
}

bool JDB3Tables::GetInt64(const SqliteStatement& row, const char* name, int64_t& value) {
    const int column = _FindColumn(row, name, "GetInt64", "GetInt64");
    if (column >= 0)
        value = row.Int64(column);
    return column >= 0;
}

bool JDB3Tables::GetInt(const SqliteStatement& row, const char* name, int32_t& value) {
    const int column = _FindColumn(row, name, "GetInt", "GetInt");
    if (column >= 0)
        value = row.Int(column);
    return column >= 0;
}

bool JDB3Tables::GetDouble(const SqliteStatement& row, const char* name, double& value) {
    const int column = _FindColumn(row, name, "GetString", "GetString");
    if (column >= 0)
        value = row.Double(column);
    return column >= 0;
}

bool JDB3Tables::GetString(const SqliteStatement& row, const char* name, std::string& value) {
    const int column = _FindColumn(row, name, "GetString", "GetString");
    if (column < 0)
        return false;
    const char* const text = row.Text(column);
    value = text ? text : "";
    _bytesRead += value.size();
    return true;
}

bool JDB3Tables::GetUuid(const SqliteStatement& row, const char* name, std::string& value) {
    const int column = _FindColumn(row, name, "GetString", "GetInt");
    if (column < 0)
        return false;
    const std::span<const uint8_t> bytes = row.Bytes(column);
    if (bytes.size() != uuidSize) {
        syslog(LOG_ERR, "JDB3helper::GetInt - Field %s incorrect size (%i bytes) for UUID", name,
               static_cast<int>(bytes.size()));
        return false;
    }
    value = UuidText(bytes);
    return true;
}

} // namespace JobsManagerD

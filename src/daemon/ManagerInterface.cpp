#include "daemon/ManagerInterface.h"

#include "daemon/Handlers.h"
#include "daemon/MethodCall.h"

namespace JobsManagerD {
namespace {

/// One entry of the interface, as it stands on the wire.
struct Row {
    enum Kind { method, signal, property } kind;
    const char* name;
    const char* in;
    const char* out;
    sd_bus_message_handler_t handler = nullptr;
    sd_bus_property_get_t getter = nullptr;
};

constexpr RowNotes asTheRuleSays;

/// A method's row. Its signatures are written out, so that the table reads like the wire; a row whose handler has other
/// types does not compile.
template <auto handler, const RowNotes& notes = asTheRuleSays>
consteval Row Method(const char* name, const char* in, const char* out) {
    using Types = HandlerTypes<decltype(handler)>;
    if (Types::In() != in || Types::Out() != out)
        throw "the handler's types differ from the row's signatures";
    return {Row::method, name, in, out, Serve<handler, notes>};
}

constexpr Row Signal(const char* name, const char* signature) { return {Row::signal, name, signature, ""}; }

constexpr Row Property(const char* name, const char* signature, sd_bus_property_get_t getter) {
    return {Row::property, name, "", signature, nullptr, getter};
}

int TargetDeviceID(sd_bus*, const char*, const char*, const char* property, sd_bus_message* reply, void* userData,
                   sd_bus_error* error) {
    auto& daemon = *static_cast<JobsManagerDaemon*>(static_cast<Buslink::DbusServer*>(userData));
    return daemon.AnswerProperty(reply, property, error, [&daemon] { return daemon.TargetDeviceID(); });
}

// In what rows differ from the rule.
constexpr RowNotes response{.replyFailure = failedToBuildResponse};
constexpr RowNotes couldNotBuild{.replyFailure = couldNotBuildReply};
constexpr RowNotes named{.logsName = true};
constexpr RowNotes ofList{.logsReply = true};
constexpr RowNotes ofCurrentJob{.logsParseFailure = false};
constexpr RowNotes countsOfCurrentJob{.replyFailure = couldNotBuildReply, .logsParseFailure = false};

using D = ManagedDevice;
using Handlers::AddRecordingMedia, Handlers::RecordingFiles, Handlers::audioWithImage, Handlers::autolog,
    Handlers::image, Handlers::thumbnail, Handlers::video;

using JobIds = std::vector<std::string>;

// clang-format off
constexpr Row rows[] = {
    //                                                                name                          in       out
    Method<Handlers::GetCurrentJobID>                               ("GetCurrentJobID",             "",      "s"),
    Method<Handlers::GetCurrentJobDeviceID>                         ("GetCurrentJobDeviceID",       "",      "s"),
    Property                                                        ("TargetDeviceID",              "s", TargetDeviceID),
    Method<Handlers::GetTargetDeviceID>                             ("GetTargetDeviceID",           "",      "s"),
    Method<Handlers::SetTargetDeviceID, named>                      ("SetTargetDeviceID",           "s",     "i"),
    Method<Handlers::CreateJob>                                     ("CreateJob",                   "ss",    "(iss)"),
    Method<Handlers::OpenJob>                                       ("OpenJob",                     "ss",    "(iss)"),
    Method<GetJobText<&D::GetJobJSONstring>>                        ("GetJob",                      "ss",    "(is)"),
    Method<GetMediaText<&D::GetMediaItemJSONstring>>                ("GetMediaItem",                "sss",   "(is)"),
    Method<Handlers::DeleteMediaItem>                               ("DeleteMediaItem",             "sss",   "i"),
    Method<GetJobText<&D::GetJobName>, response>                    ("GetJobName",                  "ss",    "(is)"),
    Method<SetJobValue<&D::SetJobName>>                             ("SetJobName",                  "sss",   "i"),
    Method<GetJobField<"notes">, response>                          ("GetJobNotes",                 "ss",    "(is)"),
    Method<SetJobField<"notes">>                                    ("SetJobNotes",                 "sss",   "i"),
    Method<GetJobField<"privateNotes">, response>                   ("GetJobPrivateNotes",          "ss",    "(is)"),
    Method<SetJobField<"privateNotes">>                             ("SetJobPrivateNotes",          "sss",   "i"),
    Method<GetJobField<"userData">, response>                       ("GetJobUserData",              "ss",    "(is)"),
    Method<SetJobField<"userData">>                                 ("SetJobUserData",              "sss",   "i"),
    Method<Handlers::GetJobLocked, response>                        ("GetJobLocked",                "ss",    "(ib)"),
    Method<SetJobValue<&D::SetJobLocked, bool>>                     ("SetJobLocked",                "ssb",   "i"),
    Method<GetJobText<&D::GetJobAddressJSONstring>, response>       ("GetJobAddress",               "ss",    "(is)"),
    Method<SetJobValue<&D::SetJobAddressByJSONstring>>              ("SetJobAddress",               "sss",   "i"),
    Method<ChangeJob<&D::ClearJobAddress>>                          ("ClearJobAddress",             "ss",    "i"),
    Method<GetJobText<&D::GetJobCustomerJSONstring>, response>      ("GetJobCustomer",              "ss",    "(is)"),
    Method<SetJobValue<&D::SetJobCustomerByJSONstring>>             ("SetJobCustomer",              "sss",   "i"),
    Method<ChangeJob<&D::ClearJobCustomer>>                         ("ClearJobCustomer",            "ss",    "i"),
    Method<Handlers::GetJobContact, response>                       ("GetJobContact",               "ssy",   "(is)"),
    Method<Handlers::AddJobContact>                                 ("AddJobContact",               "sss",   "(iy)"),
    Method<SetJobValue<&D::UpdateJobContactByJSONstring>>           ("UpdateJobContact",            "sss",   "i"),
    Method<SetJobValue<&D::RemoveJobContact, uint8_t>>              ("RemoveJobContact",            "ssy",   "i"),
    Method<GetJobText<&D::GetJobContactsJSONstring>, response>      ("GetJobContacts",              "ss",    "(is)"),
    Method<ChangeJob<&D::RemoveJobContacts>>                        ("RemoveJobContacts",           "ss",    "i"),
    Method<GetMediaField<"name">, response>                         ("GetMediaName",                "sss",   "(is)"),
    Method<SetMediaField<"name">>                                   ("SetMediaName",                "ssss",  "i"),
    Method<GetMediaField<"notes">, response>                        ("GetMediaNotes",               "sss",   "(is)"),
    Method<SetMediaField<"notes">>                                  ("SetMediaNotes",               "ssss",  "i"),
    Method<GetMediaField<"privateNotes">, response>                 ("GetMediaPrivateNotes",        "sss",   "(is)"),
    Method<SetMediaField<"privateNotes">>                           ("SetMediaPrivateNotes",        "ssss",  "i"),
    Method<GetMediaField<"userData">, response>                     ("GetMediaUserData",            "sss",   "(is)"),
    Method<SetMediaField<"userData">>                               ("SetMediaUserData",            "ssss",  "i"),
    Method<Handlers::GetMediaIsIncludedInReport, response>          ("GetMediaIsIncludedInReport",  "sss",   "(ii)"),
    Method<Handlers::SetMediaIsIncludedInReport>                    ("SetMediaIsIncludedInReport",  "sssi",  "i"),
    Method<GetJobText<&D::GetJobFolderPath>>                        ("GetJobFolderPath",            "ss",    "(is)"),
    Method<Handlers::GetJobMediaCounts, couldNotBuild>              ("GetJobMediaCounts",           "ss",    "(iiiiii)"),
    Method<RunOnDevice<&D::FindDeviceJobs>>                         ("FindJobs",                    "s",     "i"),
    Method<Handlers::GetJobList>                                    ("GetJobList",                  "syyqq", "(is)"),
    Method<Handlers::GetJobListStats>                               ("GetJobListStats",             "s",     "(is)"),
    Method<RunOnDevice<&D::ConvertDeviceJobs>>                      ("ConvertJobs",                 "s",     "i"),
    Method<Handlers::SearchJobs, couldNotBuild>                     ("SearchJobs",                  "ssyqb", "i"),
    Method<Handlers::GetSearchResults>                              ("GetSearchResults",            "sqq",   "(is)"),
    Method<Handlers::GetSearchStats>                                ("GetSearchStats",              "s",     "(is)"),
    Method<Handlers::GetNewMediaPathComponents, ofCurrentJob>       ("GetNewMediaPathComponents",   "",      "(iss)"),
    Method<AddRecordingMedia<&D::AddAutologMediaItem, RecordingFiles{autolog, thumbnail}>, ofCurrentJob>
                                                                    ("AddAutologMedia",    "sssssbibibii",   "i"),
    Method<AddRecordingMedia<&D::AddPhotoTalkMediaItem, RecordingFiles{audioWithImage, image}>, ofCurrentJob>
                                                                    ("AddPhotoTalkMedia",  "sssssbibibii",   "i"),
    Method<Handlers::AddSnapshotMedia, ofCurrentJob>                ("AddSnapshotMedia",   "ssbibibii",      "i"),
    Method<AddRecordingMedia<&D::AddVideoMediaItem, RecordingFiles{video, thumbnail}>, ofCurrentJob>
                                                                    ("AddVideoMedia",      "sssssbibibii",   "i"),
    Method<Handlers::UpdateMediaFileSizes, ofCurrentJob>            ("UpdateMediaFileSizes",        "s",     "i"),
    Method<Handlers::CurrentJobMediaCounts, countsOfCurrentJob>     ("CurrentJobMediaCounts",       "",      "(iiiiii)"),
    Method<Handlers::CloseJob>                                      ("CloseJob",                    "",      "(is)"),
    Method<Handlers::GetMediaID, ofCurrentJob>                      ("GetMediaID",                  "s",     "(is)"),
    Method<Handlers::CancelCMD>                                     ("CancelCMD",                   "s",     "i"),
    Method<Handlers::DeleteJob>                                     ("DeleteJob",                   "ss",    "i"),
    Method<RunOnDevice<&D::DeleteAllJobs>, named>                   ("DeleteAllJobs",               "s",     "i"),
    Method<RunOnDevice<&D::DeleteJobList, JobIds>, ofList>          ("DeleteJobList",               "sas",   "i"),
    Signal                                                          ("JobListDeleteProgress",       "iii"),
    Signal                                                          ("JobListDeleteError",          "s"),
    Method<Handlers::MoveJob>                                       ("MoveJob",                     "sss",   "i"),
    Method<RunOnTwoDevices<&D::MoveAllJobs>, named>                 ("MoveAllJobs",                 "ss",    "i"),
    Method<RunOnTwoDevices<&D::MoveJobList, JobIds>, ofList>        ("MoveJobList",                 "ssas",  "i"),
    Signal                                                          ("JobListMoveProgress",         "siii"),
    Signal                                                          ("JobListMoveError",            "ss"),
    Method<Handlers::CopyJob>                                       ("CopyJob",                     "sss",   "i"),
    Method<RunOnTwoDevices<&D::CopyAllJobs>, named>                 ("CopyAllJobs",                 "ss",    "i"),
    Method<RunOnTwoDevices<&D::CopyJobList, JobIds>, ofList>        ("CopyJobList",                 "ssas",  "i"),
    Signal                                                          ("JobListCopyProgress",         "siii"),
    Signal                                                          ("JobListCopyError",            "ss"),
    Signal                                                          ("JobChanged",                  "s"),
};
// clang-format on

static_assert(std::size(rows) == 77);

} // namespace

void AddManagerInterface(Buslink::DbusServer& server) {
    for (const Row& row : rows) {
        switch (row.kind) {
        case Row::method:
            server.AddVtableMethod(row.name, row.in, row.out, row.handler, SD_BUS_VTABLE_UNPRIVILEGED);
            break;
        case Row::signal:
            server.AddVtableSignal(row.name, row.in, 0);
            break;
        case Row::property:
            server.AddVtablePropertyReadOnly(row.name, row.out, row.getter, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE);
            break;
        }
    }
}

} // namespace JobsManagerD

#include "device/FixedClock.h"
#include "device/ServiceTest.h"

#include <filesystem>
#include <syslog.h>

using namespace JobsManagerD;
namespace fs = std::filesystem;

namespace Testing {
namespace {

/// A text of a job or of a media item: its methods are "Get" and "Set" with the name behind.
struct TextField {
    std::string name;
    std::string key;
    std::string value;
    std::string onCard; ///< in the job file, as JSON; empty for a text that is scrambled
};

const TextField jobTexts[] = {
    {"JobName", "name", "Ring Road \"7\"", R"("Ring Road \"7\"")"},
    {"JobNotes", "notes", "line\nline", R"("line\nline")"},
    {"JobPrivateNotes", "privateNotes", "Grüße", ""},
    {"JobUserData", "userData", R"({"b":[1],"a":"x"})", R"({"a":"x","b":[1]})"},
};
const TextField mediaTexts[] = {
    {"MediaName", "name", "Joint", R"("Joint")"},
    {"MediaNotes", "notes", "n", R"("n")"},
    {"MediaPrivateNotes", "privateNotes", "p", ""},
    {"MediaUserData", "userData", "no json", R"("no json")"},
};

constexpr const char* address = R"({"position":{"latitude":"48.1","longitude":"11.5"},"street":"Main"})";
constexpr const char* customer = R"({"firstName":"Ada","phones":{"home":"1"}})";

class AccessorsTest : public ServiceTest {
protected:
    static std::string ModifiedTime(const Json& object) { return object.at("timestamp").at("modifiedTime"); }
    Json Contacts(const CreatedJob& job) { return Json::parse(std::get<1>(Text("GetJobContacts", "", job.id))); }
    std::tuple<int32_t, uint8_t> AddContact(const std::string& text) {
        return Call("AddJobContact", "", "", text).Read<int32_t, uint8_t>();
    }

    /// A change has gone to the card at that time and was told once, with the summary.
    void ExpectSaved(const CreatedJob& job, const std::string& what, const std::string& time) {
        const std::vector<Signal> signals = service.Client().TakeSignals();
        ASSERT_EQ(signals.size(), 1u) << what;
        EXPECT_EQ(signals[0].member, "JobChanged") << what;
        const Json summary = Json::parse(signals[0].arguments.values.at(0).get<std::string>());
        EXPECT_EQ(summary.at("id"), job.id) << what;
        EXPECT_EQ(ModifiedTime(summary), time) << what;
        EXPECT_EQ(ModifiedTime(JobFile(job)), time) << what;
        EXPECT_EQ(WriteActive(), (Texts{"front on", "front off"})) << what;
    }
};

TEST_F(AccessorsTest, TextsOfAJobAreWrittenReadAndTold) {
    FixedClock clock("2024-05-01T08:00:00Z");
    const CreatedJob job = CreateJob();
    ForgetTraffic();
    for (int minute = 10; const auto& [name, key, value, onCard] : jobTexts) {
        const std::string time = "2024-05-01T08:" + std::to_string(minute++) + ":00Z";
        clock.Set(time);
        EXPECT_EQ(Code("Set" + name, "", job.id, value), JOBS_RTN_SUCCEEDED);
        ExpectSaved(job, name, time);
        EXPECT_EQ(Text("Get" + name, "front", ""), CodeAndText(0, value));
        EXPECT_TRUE(onCard.empty() || JobFile(job).at(key).dump() == onCard) << name;
    }
    EXPECT_EQ(JobFile(job).at("privateNotes").size(), std::string("Grüße").size()) << "a number a byte";
    EXPECT_EQ(Json::parse(Read(job.File().string() + ".bak")).count("userData"), 0u) << "the state before";
    CloseJob();
    for (const auto& [name, key, value, onCard] : jobTexts)
        EXPECT_EQ(Text("Get" + name, "", job.id), CodeAndText(0, name == "JobUserData" ? onCard : value)) << name;
    for (const auto& [name, key, value, onCard] : jobTexts)
        EXPECT_EQ(Code("Set" + name, "", job.id, ""), JOBS_RTN_SUCCEEDED);
    for (const auto& [name, key, value, onCard] : jobTexts)
        EXPECT_FALSE(JobFile(job).contains(key)) << "an empty text is not written";
    EXPECT_EQ(Errors(), Texts{});
}

TEST_F(AccessorsTest, TextsOfAMediaItemStampItAndItsJob) {
    FixedClock clock("2024-05-01T08:00:00Z");
    const CreatedJob job = CreateJob();
    const std::string media = AddSnapshot(job, "a.jpg");
    CloseJob();
    Text("GetJobName", "", job.id);
    ForgetTraffic();
    for (int minute = 10; const auto& [name, key, value, onCard] : mediaTexts) {
        const std::string time = "2024-05-01T08:" + std::to_string(minute++) + ":00Z";
        clock.Set(time);
        EXPECT_EQ(Code("Set" + name, "", job.id, media, value), JOBS_RTN_SUCCEEDED);
        ExpectSaved(job, name, time);
        const Json item = JobFile(job).at("media").at(0);
        EXPECT_EQ(ModifiedTime(item), time) << name;
        EXPECT_EQ(item.at("timestamp").at("createTime"), "2024-05-01T08:00:00Z");
        EXPECT_EQ(Text("Get" + name, "", job.id, media), CodeAndText(0, value));
        EXPECT_TRUE(onCard.empty() || item.at(key).dump() == onCard) << name;
    }
    const std::string lastTime = ModifiedTime(JobFile(job));
    clock.Set("2030-01-01T00:00:00Z");
    const auto included = [&] {
        return Call("GetMediaIsIncludedInReport", "", job.id, media).Read<int32_t, int32_t>();
    };
    for (const auto& [number, flag, saves] : {std::tuple{7, 1, true}, {1, 1, false}, {0, 0, true}, {0, 0, false}}) {
        EXPECT_EQ(Code("SetMediaIsIncludedInReport", "", job.id, media, int32_t{number}), JOBS_RTN_SUCCEEDED);
        EXPECT_EQ(included(), std::tuple(0, flag));
        EXPECT_EQ(Traffic(), saves ? Texts{"front JobChanged"} : Texts{}) << number;
        EXPECT_EQ(JobFile(job).at("media").at(0).at("isIncludedInReport"), flag == 1);
    }
    EXPECT_EQ(ModifiedTime(JobFile(job)), lastTime) << "the flag stamps no time";
    EXPECT_EQ(ModifiedTime(JobFile(job).at("media").at(0)), lastTime);
}

TEST_F(AccessorsTest, EachFailureHasItsCodeAndItsLines) {
    const CreatedJob job = CreateJob();
    const std::string media = AddSnapshot(job, "a.jpg");
    CloseJob();
    const CreatedJob current = CreateJob("Current");
    const std::string good = Read(job.File());
    const std::string notFound = " - No job found on device front with ID: nobody.";
    struct Case {
        std::string bus; ///< method on the bus
        std::vector<Simulator::Value> value;
        std::string method;
        std::string prefix = "ManagedDevice::";
        std::string savedAs;
    };
    const Case cases[] = {
        {"GetJobName", {}, "GetJobName", "ManagedDevice::", ""},
        {"GetJobNotes", {}, "GetJobNotes", "ManagedDevice::", ""},
        {"GetJobPrivateNotes", {}, "GetJobPrivateNotes", "ManagedDevice::", ""},
        {"GetJobUserData", {}, "GetJobUserData", "", ""},
        {"GetJobLocked", {}, "GetJobLocked", "ManagedDevice::", ""},
        {"GetJobAddress", {}, "GetJobAddressJSONstring", "ManagedDevice::", ""},
        {"GetJobCustomer", {}, "GetJobCustomerJSONstring", "ManagedDevice::", ""},
        {"GetJobContact", {uint8_t{1}}, "GetJobContactJSONstring", "ManagedDevice::", ""},
        {"GetJobContacts", {}, "GetJobContactsJSONstring", "ManagedDevice::", ""},
        {"GetJobFolderPath", {}, "GetJobFolderPath", "ManagedDevice::", ""},
        {"GetJobMediaCounts", {}, "GetJobMediaCounts", "ManagedDevice::", ""},
        {"RemoveJobContacts", {}, "RemoveJobContacts", "ManagedDevice::", ""},
        {"SetJobName", {"x"}, "SetJobName", "ManagedDevice::", "SetJobName"},
        {"SetJobNotes", {"x"}, "SetJobNotes", "ManagedDevice::", "SetJobNotes"},
        {"SetJobPrivateNotes", {"x"}, "SetJobPrivateNotes", "ManagedDevice::", "SetJobPrivateNotes"},
        {"SetJobUserData", {"x"}, "SetJobUserData", "", "SetJobUserData"},
        {"SetJobLocked", {true}, "SetJobLocked", "ManagedDevice::", "SetJobLocked"},
        {"SetJobAddress", {address}, "SetJobAddressByJSONstring", "ManagedDevice::", "SetJobAddressByJSONstring"},
        {"ClearJobAddress", {}, "ClearJobAddress", "ManagedDevice::", "SetJobAddressByJSONstring"},
        {"SetJobCustomer", {customer}, "SetJobCustomerByJSONstring", "ManagedDevice::", "SetJobCustomerByJSONstring"},
        {"ClearJobCustomer", {}, "ClearJobCustomer", "ManagedDevice::", "ClearJobCustomer"},
        {"AddJobContact", {customer}, "AddJobContactByJSONstring", "ManagedDevice::", "AddJobContactByJSONstring"},
        {"UpdateJobContact",
         {R"({"id":1,"a":"b"})"},
         "UpdateJobContactByJSONstring",
         "ManagedDevice::",
         "UpdateJobContactByJSONstring"},
        {"RemoveJobContact", {uint8_t{1}}, "RemoveJobContact", "ManagedDevice::", "RemoveJobContact"},
    };
    const auto code = [this](const Case& row, const std::string& id) {
        std::vector<Simulator::Value> arguments = {"front", id};
        arguments.insert(arguments.end(), row.value.begin(), row.value.end());
        const Reply reply = service.Client().CallOn("/com/corvane/common/JobsManagerDaemon1",
                                                    "com.corvane.common.JobsManagerDaemon1", row.bus, arguments);
        const WireValue& values = reply.Arguments().values;
        return (values.at(0).is_array() ? values.at(0).at(0) : values.at(0)).get<int32_t>();
    };
    for (const Case& row : cases) {
        LogCapture::Take();
        EXPECT_EQ(code(row, "nobody"), JOBS_RTN_JOB_ID_NOT_FOUND) << row.bus;
        EXPECT_EQ(Errors(), Texts{row.method + notFound});

        Text("GetJobName", "", current.id);
        Write(job.File(), "broken");
        fs::remove(job.File().string() + ".bak");
        LogCapture::Take();
        EXPECT_EQ(code(row, job.id), JOBS_RTN_FS_ERROR) << row.bus;
        EXPECT_EQ(Errors().back(), row.prefix + row.method + " - Failed to open job with ID: " + job.id);
        Write(job.File(), good);
        if (row.savedAs.empty())
            continue;

        Unit().Storage().SetReadOnly("front", true);
        SettleStorage();
        LogCapture::Take();
        EXPECT_EQ(code(row, current.id), JOBS_RTN_READ_ONLY_FS) << row.bus;
        EXPECT_EQ(Errors(), (Texts{"UpdateJobFile - Filesystem is read-only",
                                   row.prefix + row.savedAs + " - Failed to update job file"}));
        Unit().Storage().SetReadOnly("front", false);
        SettleStorage();
    }
}

TEST_F(AccessorsTest, FailuresOfMediaAccessorsNameBothSteps) {
    const CreatedJob job = CreateJob();
    const std::string media = AddSnapshot(job, "a.jpg");
    for (const auto& [name, key, value, onCard] : mediaTexts) {
        // The log names the two after what they hold.
        const std::string method = name == "MediaUserData" ? "MediaData" : name;
        const std::string notFound = " - No job found on device front with ID: nobody.";
        const std::string noItem = "Job::GetMediaItem - No Media item found with ID: none";
        const std::string getLine = "ManagedDevice::Get" + method + " - GetMediaItem returned error code: ";
        LogCapture::Take();
        EXPECT_EQ(Text("Get" + name, "", "nobody", media), CodeAndText(JOBS_RTN_JOB_ID_NOT_FOUND, ""));
        EXPECT_EQ(Text("Get" + name, "", "", "none"), CodeAndText(JOBS_RTN_MEDIA_ID_NOT_FOUND, ""));
        EXPECT_EQ(Errors(), (Texts{"GetMediaItem" + notFound, getLine + "9", noItem, getLine + "10"}));

        const std::string setLine = "ManagedDevice::Set" + method;
        LogCapture::Take();
        EXPECT_EQ(Code("Set" + name, "", "nobody", media, "x"), JOBS_RTN_JOB_ID_NOT_FOUND);
        EXPECT_EQ(Code("Set" + name, "", "", "none", "x"), JOBS_RTN_MEDIA_ID_NOT_FOUND);
        Unit().Storage().SetReadOnly("front", true);
        SettleStorage();
        EXPECT_EQ(Code("Set" + name, "", "", media, "x"), JOBS_RTN_READ_ONLY_FS);
        Unit().Storage().SetReadOnly("front", false);
        Texts errors = Errors();
        std::erase_if(errors, [](const std::string& line) { return line.find("nobody1") != std::string::npos; });
        std::erase_if(errors, [](const std::string& line) { return line.starts_with("JobsManagerDaemon::Device"); });
        EXPECT_EQ(errors, (Texts{"Set" + method + notFound, noItem, setLine + " - GetMediaItem returned error code: 10",
                                 "UpdateJobFile - Filesystem is read-only",
                                 setLine + " - UpdateJobFile returned error code: 3"}));
        SettleStorage();
    }
}

TEST_F(AccessorsTest, ALockedJobCanStillBeEdited) {
    const CreatedJob job = CreateJob();
    const auto locked = [&] { return Call("GetJobLocked", "", "").Read<int32_t, bool>(); };
    EXPECT_EQ(locked(), std::tuple(0, false));
    EXPECT_EQ(Code("SetJobLocked", "", "", true), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(locked(), std::tuple(0, true));
    EXPECT_EQ(JobFile(job).at("locked"), true);
    EXPECT_EQ(Code("SetJobName", "", "", "Locked"), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Code("SetJobLocked", "", "", false), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(JobFile(job).at("locked"), false);
}

TEST_F(AccessorsTest, AddressAndCustomerAreReplacedAsAWhole) {
    FixedClock clock("2024-05-01T08:00:00Z");
    const CreatedJob job = CreateJob();
    EXPECT_EQ(Text("GetJobAddress", "", ""), CodeAndText(0, "{}"));
    EXPECT_EQ(Text("GetJobCustomer", "", ""), CodeAndText(0, "{}"));
    clock.Set("2024-05-01T09:00:00Z");
    EXPECT_EQ(Code("SetJobAddress", "", "", address), 0);
    EXPECT_EQ(Text("GetJobAddress", "", ""), CodeAndText(0, address));
    EXPECT_EQ(JobFile(job).at("address"), Json::parse(address));
    EXPECT_EQ(Code("SetJobAddress", "", "", R"({"city":"Ulm","floor":3,"empty":""})"), 0);
    EXPECT_EQ(Text("GetJobAddress", "", ""), CodeAndText(0, R"({"city":"Ulm"})"));
    EXPECT_EQ(Code("SetJobCustomer", "", "", R"({"id":9,"contactSource":4,"lastName":"B","web":{"a":"b","c":1}})"), 0);
    EXPECT_EQ(Text("GetJobCustomer", "", ""), CodeAndText(0, R"({"id":9,"lastName":"B","web":{"a":"b"}})"));
    EXPECT_EQ(JobFile(job).at("customer").at("contactSource"), 4);
    EXPECT_EQ(ModifiedTime(JobFile(job)), "2024-05-01T09:00:00Z");
    ForgetTraffic();

    clock.Set("2024-05-01T10:00:00Z");
    for (const std::string method : {"SetJobAddress", "SetJobCustomer", "AddJobContact", "UpdateJobContact"}) {
        const auto refused = [&](const std::string& text) {
            const WireValue reply = Call(method, "", "", text).Arguments().values.at(0);
            return (reply.is_array() ? reply.at(0) : reply).get<int32_t>();
        };
        EXPECT_EQ(refused("{"), JOBS_RTN_INVALID_JSON) << method;
        EXPECT_EQ(refused(""), JOBS_RTN_INVALID_JSON) << method;
        EXPECT_EQ(refused(std::string(100000, '[')), JOBS_RTN_INVALID_JSON) << method;
        EXPECT_EQ(refused(method == "SetJobAddress" ? R"({"position":{"latitude":"1"}})" : R"({"id":1,"web":[]})"),
                  JOBS_RTN_JSON_INVALID_FIELDS)
            << method;
        EXPECT_EQ(refused(method == "SetJobAddress" ? R"({"position":5})" : R"({"id":"one"})"),
                  JOBS_RTN_JSON_INVALID_FIELDS)
            << method;
    }
    EXPECT_EQ(Traffic(), Texts{});
    EXPECT_EQ(ModifiedTime(JobFile(job)), "2024-05-01T09:00:00Z");
    EXPECT_EQ(Code("ClearJobAddress", "", ""), 0);
    EXPECT_EQ(Code("ClearJobCustomer", "", ""), 0);
    EXPECT_EQ(Traffic(), (Texts{"front JobChanged", "front JobChanged"}));
    EXPECT_FALSE(JobFile(job).contains("address") || JobFile(job).contains("customer"));
}

TEST_F(AccessorsTest, ContactsHaveIdsForLife) {
    const CreatedJob job = CreateJob();
    EXPECT_EQ(AddContact(customer), std::tuple(0, 1));
    EXPECT_EQ(AddContact(R"({"firstName":"Tom"})"), std::tuple(0, 2));
    EXPECT_EQ(AddContact(R"({"firstName":"Tom","id":7,"contactSource":3})"), std::tuple(JOBS_RTN_ENTRY_EXISTS, 0));
    EXPECT_EQ(AddContact("{"), std::tuple(JOBS_RTN_INVALID_JSON, 0));
    EXPECT_EQ(Text("GetJobContact", "", "", uint8_t{2}), CodeAndText(0, R"({"firstName":"Tom","id":2})"));
    EXPECT_EQ(Text("GetJobContact", "", "", uint8_t{3}), CodeAndText(JOBS_RTN_ENTRY_NOT_FOUND, ""));
    EXPECT_EQ(Code("UpdateJobContact", "", "", R"({"id":2,"firstName":"Tim"})"), 0);
    EXPECT_EQ(Code("UpdateJobContact", "", "", R"({"id":9,"firstName":"Tim"})"), JOBS_RTN_ENTRY_NOT_FOUND);
    EXPECT_EQ(Code("UpdateJobContact", "", "", R"({"firstName":"Tim"})"), JOBS_RTN_JSON_INVALID_FIELDS);
    EXPECT_EQ(Code("RemoveJobContact", "", "", uint8_t{1}), 0);
    EXPECT_EQ(Code("RemoveJobContact", "", "", uint8_t{1}), JOBS_RTN_ENTRY_NOT_FOUND);
    EXPECT_EQ(AddContact(R"({"firstName":"New"})"), std::tuple(0, 3));
    const Json expected = Json::parse(R"([{"firstName":"Tim","id":2},{"firstName":"New","id":3}])");
    EXPECT_EQ(Contacts(job), expected);
    ForgetTraffic();

    EXPECT_EQ(Code("RemoveJobContacts", "", ""), 0);
    EXPECT_EQ(Contacts(job), Json::array());
    EXPECT_EQ(Traffic(), Texts{}) << "in memory alone";
    CloseJob();
    EXPECT_EQ(Contacts(job), expected);
    EXPECT_EQ(Code("RemoveJobContacts", "", job.id), 0);
    EXPECT_EQ(Code("SetJobNotes", "", job.id, "saved"), 0);
    EXPECT_FALSE(JobFile(job).contains("contacts"));

    EXPECT_EQ(OpenJob(job), 0);
    EditJobFile(job, [](Json& document) {
        for (int id = 1; id <= 255; ++id)
            document["contacts"].push_back({{"id", id}, {"name", std::to_string(id)}});
    });
    CloseJob();
    OpenJob(job);
    EXPECT_EQ(AddContact(R"({"name":"256"})"), std::tuple(JOBS_RTN_LIST_FULL, 0));
    EXPECT_EQ(AddContact(R"({"name":"255"})"), std::tuple(JOBS_RTN_ENTRY_EXISTS, 0)) << "the first check";
}

TEST_F(AccessorsTest, UserDataOfAnyKindLeavesTheJobReadable) {
    const CreatedJob job = CreateJob();
    const std::string media = AddSnapshot(job, "a.jpg");
    struct Case {
        std::string given;
        std::string onCard;
        std::string readBack;
    };
    for (const auto& [given, onCard, readBack] :
         {Case{R"({"z" : 1, "a":[true]})", R"({"a":[true],"z":1})", R"({"a":[true],"z":1})"},
          {R"([1, 2])", "[1,2]", ""},
          {R"("text")", R"("text")", "text"},
          {"bare word", R"("bare word")", "bare word"},
          {"12", R"("12")", "12"},
          {"true", R"("true")", "true"},
          {"null", R"("null")", "null"},
          {R"("")", R"("\"\"")", R"("")"},
          {" ", R"(" ")", " "}}) {
        EXPECT_EQ(Code("SetJobUserData", "", job.id, given), 0) << given;
        EXPECT_EQ(Code("SetMediaUserData", "", job.id, media, given), 0) << given;
        EXPECT_EQ(Text("GetJobUserData", "", job.id), CodeAndText(0, given)) << "as it is while it is open";
        EXPECT_EQ(JobFile(job).at("userData").dump(), onCard);
        EXPECT_EQ(JobFile(job).at("media").at(0).at("userData").dump(), onCard);
        CloseJob();
        EXPECT_EQ(OpenJob(job), JOBS_RTN_SUCCEEDED) << given;
        EXPECT_EQ(Text("GetJobUserData", "", ""), CodeAndText(0, readBack)) << given;
        EXPECT_EQ(Text("GetMediaUserData", "", "", media), CodeAndText(0, readBack)) << given;
    }
}

} // namespace
} // namespace Testing

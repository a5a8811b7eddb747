#include "daemon/Settings.h"
#include "device/FixedClock.h"
#include "device/JobSettings.h"
#include "device/ServiceTest.h"
#include "fsutil/Paths.h"

#include <syslog.h>

using namespace JobsManagerD;

namespace Testing {
namespace {

class SettingsTest : public ServiceTest {
protected:
    /// Creates a job without a name, closes it, and gives the name that it got.
    std::string DefaultName() {
        const Json summary =
            Json::parse(std::get<2>(Call("CreateJob", "", "").Read<int32_t, std::string, std::string>()));
        EXPECT_EQ(CloseJob(), JOBS_RTN_SUCCEEDED);
        return summary.value("name", "");
    }
    Json Contacts() { return Json::parse(std::get<1>(Text("GetJobContacts", "", ""))); }
};

TEST_F(SettingsTest, TheStartNeedsEverySetting) {
    for (const std::string key :
         {"hideJobFiles", "defaultJobName", "jobNameSuffixFormat", "signalJobListChanges", "multiJobIndexUpdatePeriod",
          "multiJobMoveCopyUpdatePeriod", "multiJobConvertUpdatePeriod", "multiJobDeleteUpdatePeriod"}) {
        service.Stop();
        LogCapture::Take();
        Unit().Settings().Refuse(key);
        service.Launch();
        EXPECT_LT(service.InitResult(), 0) << key;
        EXPECT_TRUE(Logged(LOG_ERR, "Init Settingsd::SettingsDaemonDbusHandler::GetSetting failed for " + key));
        EXPECT_EQ(Errors().size(), 2u) << "the reading has its own line, and later settings are not read";
        EXPECT_EQ(LogCapture::Count("Create and register"), 0u);
        Unit().Settings().AnswerNormally(key);
    }
    service.Stop();
    service.Start();
    EXPECT_GE(service.InitResult(), 0);
}

TEST_F(SettingsTest, NamesFollowTheSettingsAtOnce) {
    const FixedClock clock("2024-05-01T08:10:11Z");
    EXPECT_EQ(DefaultName(), "Job_" + FixedClock::Local("%Y-%m-%d"));
    struct Case {
        std::string name;
        std::string format;
        std::string expected;
    };
    for (const auto& [name, format, expected] : {Case{"Road", "", "Road"},
                                                 {"", "%H", FixedClock::Local("%H")},
                                                 {"Road", "%M", "Road_" + FixedClock::Local("%M")},
                                                 {"", "", ""}}) {
        Unit().Settings().Set("jobs", {{"defaultJobName", name}, {"jobNameSuffixFormat", format}});
        SettleSettings();
        EXPECT_EQ(DefaultName(), expected);
    }
}

TEST_F(SettingsTest, HidingDecidesTheNameOfTheNextJobFileAlone) {
    const CreatedJob open = CreateJob("Open");
    Unit().Settings().Set("jobs", "hideJobFiles", true);
    SettleSettings();
    EXPECT_EQ(Code("SetJobNotes", "", "", "changed"), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(service.Card("front").List(open.folder), (Texts{"job.json", "job.json.bak", "media"}));
    CloseJob();
    const CreatedJob hidden = CreateJob("Hidden");
    EXPECT_EQ(service.Card("front").List(hidden.folder), (Texts{".job.json", "media"}));
    Unit().Settings().Set("jobs", "hideJobFiles", false);
    SettleSettings();
    EXPECT_EQ(Code("SetJobNotes", "", "", "changed"), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(service.Card("front").List(hidden.folder), (Texts{".job.json", ".job.json.bak", "media"}));
}

TEST_F(SettingsTest, OnlyKnownSettingsOfTheirTypeAreTaken) {
    Unit().Settings().Set("jobs", {{"multiJobIndexUpdatePeriod", 1500u},
                                   {"multiJobMoveCopyUpdatePeriod", 2000u},
                                   {"multiJobConvertUpdatePeriod", 1u},
                                   {"multiJobDeleteUpdatePeriod", 0u}});
    Unit().Settings().RawChanged("/com/corvane/common/Settings1/jobs",
                                 {{"hideJobFiles", "true"},
                                  {"defaultJobName", int32_t{5}},
                                  {"jobNameSuffixFormat", Simulator::Structure{"%H"}},
                                  {"signalJobListChanges", true},
                                  {"multiJobIndexUpdatePeriod", int32_t{7}},
                                  {"multiJobMoveCopyUpdatePeriod", 7.0},
                                  {"multiJobConvertUpdatePeriod", uint64_t{7}},
                                  {"multiJobDeleteUpdatePeriod", "7"},
                                  {"anything", Texts{"a"}},
                                  {"byte", uint8_t{1}}});
    Unit().Settings().Set("storage", "defaultJobName", "Elsewhere");
    SettleSettings();
    EXPECT_EQ(multiJobIndexUpdatePeriod, 1.5);
    EXPECT_EQ(multiJobMoveCopyUpdatePeriod, 2.0);
    EXPECT_EQ(multiJobConvertUpdatePeriod, 0.001);
    EXPECT_EQ(multiJobDeleteUpdatePeriod, 0.0);
    EXPECT_FALSE(hideJobFiles);
    EXPECT_EQ(signalJobListChanges, JobListSignals::all);
    const FixedClock clock("2024-05-01T08:10:11Z");
    EXPECT_EQ(DefaultName(), "Job_" + FixedClock::Local("%Y-%m-%d"));
}

TEST_F(SettingsTest, AJobListChangeIsToldAsTheSettingSays) {
    for (const std::string setting : {"All", "OnChangeCompletion", "", "all", "Never"}) {
        Unit().Settings().Set("jobs", "signalJobListChanges", setting);
        SettleSettings();
        ForgetTraffic();
        const CreatedJob job = CreateJob("Job " + setting);
        const Texts traffic = Traffic();
        ASSERT_EQ(traffic.size(), 1u) << setting;
        const bool tellsList = setting == "All" || setting == "OnChangeCompletion";
        EXPECT_EQ(traffic[0].starts_with("front JobListStatus=true JobListStats={"), tellsList) << traffic[0];
        EXPECT_TRUE(traffic[0].ends_with(" CurrentJobID=" + job.id));
        CloseJob();
    }
}

TEST_F(SettingsTest, TheCompanyContactOfTheCurrentJobFollowsTheSetting) {
    const std::string name = "companyContact";
    const std::string path = "/com/corvane/common/Settings1/contacts";
    Unit().Settings().RawChanged(path, {{name, Simulator::Structure{"no json"}}});
    SettleSettings();
    EXPECT_EQ(LogCapture::Count("JobContactsSettingsChanged"), 0u) << "no job is current";

    Unit().Settings().SetSilently("contacts", name, R"({"firstName":"Ada"})");
    const CreatedJob job = CreateJob();
    EXPECT_EQ(Contacts(), Json::parse(R"([{"firstName":"Ada","id":1}])"));
    EXPECT_EQ(JobFile(job).at("contacts"), Json::parse(R"([{"firstName":"Ada","id":1,"contactSource":1}])"));
    EXPECT_EQ(std::get<0>(Call("AddJobContact", "", "", R"({"firstName":"Tom"})").Read<int32_t, uint8_t>()), 0);

    const FixedClock clock("2031-02-03T04:05:06Z");
    ForgetTraffic();
    Unit().Settings().Set("contacts", name, R"({"firstName":"Eve"})");
    SettleSettings();
    EXPECT_EQ(Traffic(), Texts{"front JobChanged"});
    EXPECT_EQ(Contacts(), Json::parse(R"([{"firstName":"Eve","id":1},{"firstName":"Tom","id":2}])"));
    EXPECT_EQ(JobFile(job).at("timestamp").at("modifiedTime"), "2031-02-03T04:05:06Z");
    Unit().Settings().RawChanged(path, {{name, R"({"firstName":"Bob","phones":{"a":"1"}})"}});
    SettleSettings();
    EXPECT_EQ(Contacts().at(0), Json::parse(R"({"firstName":"Bob","id":1,"phones":{"a":"1"}})"));
    Unit().Settings().Set("contacts", name, "{}");
    SettleSettings();
    EXPECT_EQ(Contacts(), Json::parse(R"([{"firstName":"Tom","id":2}])"));
    Traffic();

    const std::string invalid = R"({"phones":"none"})";
    for (const char* text : {"{", "", "[1", invalid.c_str(), R"({"id":"text"})", R"({"contactSource":"text"})"})
        Unit().Settings().Set("contacts", name, text);
    Unit().Settings().RawChanged(path, {{name, int32_t{4}}, {"other", R"({"firstName":"X"})"}});
    SettleSettings();
    EXPECT_EQ(LogCapture::Count("JobContactsSettingsChanged: Error parsing json string for setting companyContact: "),
              3u);
    EXPECT_TRUE(Logged(LOG_ERR, "Job::SetCompanyContactByJSONstring - contact has invalid/missing fields:" + invalid));
    EXPECT_EQ(Contacts(), Json::parse(R"([{"firstName":"Tom","id":2}])"));
    EXPECT_EQ(Traffic(), Texts{});
}

TEST_F(SettingsTest, AJobComesIntoBeingWithoutACompanyContact) {
    struct Case {
        std::string setting;
        std::string line;
    };
    for (const auto& [setting, line] :
         {Case{"no json", "CreateJob Settingsd::SettingsDaemonDbusHandler::GetSetting failed for "
                          "SETTINGS_SECTION_CONTACTS_COMPANY_CONTACT.  Return value -"},
          {R"({"web":3})", "ManagedDevice::CreateJob - SetDefaultContactByJSONstring returned error code: 9."}}) {
        LogCapture::Take();
        Unit().Settings().SetSilently("contacts", "companyContact", setting);
        CreateJob(setting.substr(0, 2));
        EXPECT_EQ(LogCapture::Count(line), 1u) << setting;
        EXPECT_EQ(Contacts(), Json::array());
        CloseJob();
    }
    Unit().Settings().GoAway();
    EXPECT_NO_THROW(CreateJob("Last"));
}

} // namespace
} // namespace Testing

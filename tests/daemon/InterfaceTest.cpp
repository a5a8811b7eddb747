#include "device/ServiceTest.h"

#include <sstream>
#include <syslog.h>

using namespace JobsManagerD;

namespace Testing {
namespace {

constexpr const char* managerPath = "/com/corvane/common/JobsManagerDaemon1";
constexpr const char* managerInterface = "com.corvane.common.JobsManagerDaemon1";
constexpr const char* deviceInterface = "com.corvane.common.JobsManagerDaemon1.Device";

// clang-format off
const Texts managerMembers = {
    "GetCurrentJobID  -> s",
    "GetCurrentJobDeviceID  -> s",
    "property TargetDeviceID s read",
    "GetTargetDeviceID  -> s",
    "SetTargetDeviceID s -> i",
    "CreateJob ss -> (iss)",
    "OpenJob ss -> (iss)",
    "GetJob ss -> (is)",
    "GetMediaItem sss -> (is)",
    "DeleteMediaItem sss -> i",
    "GetJobName ss -> (is)",
    "SetJobName sss -> i",
    "GetJobNotes ss -> (is)",
    "SetJobNotes sss -> i",
    "GetJobPrivateNotes ss -> (is)",
    "SetJobPrivateNotes sss -> i",
    "GetJobUserData ss -> (is)",
    "SetJobUserData sss -> i",
    "GetJobLocked ss -> (ib)",
    "SetJobLocked ssb -> i",
    "GetJobAddress ss -> (is)",
    "SetJobAddress sss -> i",
    "ClearJobAddress ss -> i",
    "GetJobCustomer ss -> (is)",
    "SetJobCustomer sss -> i",
    "ClearJobCustomer ss -> i",
    "GetJobContact ssy -> (is)",
    "AddJobContact sss -> (iy)",
    "UpdateJobContact sss -> i",
    "RemoveJobContact ssy -> i",
    "GetJobContacts ss -> (is)",
    "RemoveJobContacts ss -> i",
    "GetMediaName sss -> (is)",
    "SetMediaName ssss -> i",
    "GetMediaNotes sss -> (is)",
    "SetMediaNotes ssss -> i",
    "GetMediaPrivateNotes sss -> (is)",
    "SetMediaPrivateNotes ssss -> i",
    "GetMediaUserData sss -> (is)",
    "SetMediaUserData ssss -> i",
    "GetMediaIsIncludedInReport sss -> (ii)",
    "SetMediaIsIncludedInReport sssi -> i",
    "GetJobFolderPath ss -> (is)",
    "GetJobMediaCounts ss -> (iiiiii)",
    "FindJobs s -> i",
    "GetJobList syyqq -> (is)",
    "GetJobListStats s -> (is)",
    "ConvertJobs s -> i",
    "SearchJobs ssyqb -> i",
    "GetSearchResults sqq -> (is)",
    "GetSearchStats s -> (is)",
    "GetNewMediaPathComponents  -> (iss)",
    "AddAutologMedia sssssbibibii -> i",
    "AddPhotoTalkMedia sssssbibibii -> i",
    "AddSnapshotMedia ssbibibii -> i",
    "AddVideoMedia sssssbibibii -> i",
    "UpdateMediaFileSizes s -> i",
    "CurrentJobMediaCounts  -> (iiiiii)",
    "CloseJob  -> (is)",
    "GetMediaID s -> (is)",
    "CancelCMD s -> i",
    "DeleteJob ss -> i",
    "DeleteAllJobs s -> i",
    "DeleteJobList sas -> i",
    "signal JobListDeleteProgress iii",
    "signal JobListDeleteError s",
    "MoveJob sss -> i",
    "MoveAllJobs ss -> i",
    "MoveJobList ssas -> i",
    "signal JobListMoveProgress siii",
    "signal JobListMoveError ss",
    "CopyJob sss -> i",
    "CopyAllJobs ss -> i",
    "CopyJobList ssas -> i",
    "signal JobListCopyProgress siii",
    "signal JobListCopyError ss",
    "signal JobChanged s"};
// clang-format on

const Texts deviceMembers = {"property DeviceState s read", "property CurrentJobID s read",
                             "property JobListStatus b read", "property JobListStats s read",
                             "property SearchStats s read"};

/// A member of an interface, as introspection tells it.
struct Member {
    std::string kind;
    std::string name;
    std::string in;
    std::string out;
    std::string notes;

    std::string Text() const {
        if (kind == "method")
            return name + " " + in + " -> " + out + notes;
        return kind + " " + name + " " + in + out + notes;
    }
};

std::string Attribute(const std::string& element, const std::string& name) {
    const std::string start = " " + name + "=\"";
    const size_t found = element.find(start);
    if (found == std::string::npos)
        return "";
    const size_t value = found + start.size();
    return element.substr(value, element.find('"', value) - value);
}

/// The document has an element a line.
std::vector<Member> MembersOf(const std::string& xml, const std::string& interface) {
    std::vector<Member> members;
    bool isInside = false;
    std::istringstream lines(xml);
    for (std::string line; std::getline(lines, line);) {
        const size_t start = line.find('<') + 1;
        const std::string kind = line.substr(start, line.find_first_of(" >", start) - start);
        if (kind == "interface" || kind == "/interface")
            isInside = Attribute(line, "name") == interface;
        else if (!isInside || kind.starts_with("/"))
            continue;
        else if (kind == "annotation")
            members.back().notes += " with " + Attribute(line, "name");
        else if (kind == "arg")
            (Attribute(line, "direction") == "in" ? members.back().in : members.back().out) += Attribute(line, "type");
        else
            members.push_back({kind, Attribute(line, "name"), "", Attribute(line, "type"), ""});
        if (kind == "property")
            members.back().notes = " " + Attribute(line, "access");
    }
    return members;
}

Texts TextsOf(const std::vector<Member>& members) {
    Texts texts;
    for (const Member& member : members)
        texts.push_back(member.Text());
    return texts;
}

/// Arguments of those types that say nothing, the texts being `text`.
std::vector<Simulator::Value> Blanks(const std::string& signature, const std::string& text) {
    std::vector<Simulator::Value> blanks;
    for (size_t at = 0; at < signature.size(); ++at) {
        switch (signature[at]) {
        case 's':
            blanks.emplace_back(text);
            break;
        case 'b':
            blanks.emplace_back(false);
            break;
        case 'y':
            blanks.emplace_back(uint8_t{0});
            break;
        case 'q':
            blanks.emplace_back(uint16_t{0});
            break;
        case 'i':
            blanks.emplace_back(int32_t{0});
            break;
        default: // "as"
            blanks.emplace_back(Texts{});
            ++at;
        }
    }
    return blanks;
}

class InterfaceTest : public ServiceTest {
protected:
    InterfaceTest() {
        for (const Member& member : MembersOf(service.Client().Introspect(managerPath), managerInterface))
            if (member.kind == "method")
                methods[member.name] = member;
    }

    /// The code in the reply, whose signature must be that of the interface and whose other values must say nothing.
    int32_t CodeOf(const std::string& method, const std::vector<Simulator::Value>& arguments) {
        const Reply reply = service.Client().CallOn(managerPath, managerInterface, method, arguments);
        EXPECT_EQ(reply.Arguments().signature, methods.at(method).out) << method;
        WireValue values = reply.Arguments().values;
        if (values.at(0).is_array())
            values = values.at(0);
        for (size_t at = 1; at < values.size(); ++at)
            EXPECT_TRUE(values[at] == "" || values[at] == 0 || values[at] == false) << method << values.dump();
        return values.at(0);
    }

    std::map<std::string, Member> methods;
};

// Every row that takes a device and a job that may both be left out.
const Texts jobMethods = {"GetJob",
                          "GetMediaItem",
                          "DeleteMediaItem",
                          "GetJobName",
                          "SetJobName",
                          "GetJobNotes",
                          "SetJobNotes",
                          "GetJobPrivateNotes",
                          "SetJobPrivateNotes",
                          "GetJobUserData",
                          "SetJobUserData",
                          "GetJobLocked",
                          "SetJobLocked",
                          "GetJobAddress",
                          "SetJobAddress",
                          "ClearJobAddress",
                          "GetJobCustomer",
                          "SetJobCustomer",
                          "ClearJobCustomer",
                          "GetJobContact",
                          "AddJobContact",
                          "UpdateJobContact",
                          "RemoveJobContact",
                          "GetJobContacts",
                          "RemoveJobContacts",
                          "GetMediaName",
                          "SetMediaName",
                          "GetMediaNotes",
                          "SetMediaNotes",
                          "GetMediaPrivateNotes",
                          "SetMediaPrivateNotes",
                          "GetMediaUserData",
                          "SetMediaUserData",
                          "GetMediaIsIncludedInReport",
                          "SetMediaIsIncludedInReport",
                          "GetJobFolderPath",
                          "GetJobMediaCounts"};
const Texts deviceMethods = {"FindJobs",   "GetJobList",       "GetJobListStats", "ConvertJobs",
                             "SearchJobs", "GetSearchResults", "GetSearchStats",  "CancelCMD",
                             "DeleteJob",  "DeleteAllJobs",    "DeleteJobList"};
const Texts twoDeviceMethods = {"MoveJob", "MoveAllJobs", "MoveJobList", "CopyJob", "CopyAllJobs", "CopyJobList"};
const Texts currentJobMethods = {"GetNewMediaPathComponents", "AddAutologMedia", "AddPhotoTalkMedia",
                                 "AddSnapshotMedia",          "AddVideoMedia",   "UpdateMediaFileSizes",
                                 "CurrentJobMediaCounts",     "CloseJob",        "GetMediaID"};

TEST_F(InterfaceTest, TheMembersAreThoseThatClientsKnowInTheirOrder) {
    EXPECT_EQ(TextsOf(MembersOf(service.Client().Introspect(managerPath), managerInterface)), managerMembers);
    const std::string device = service.Client().Introspect(RunningService::DevicePath("back"));
    EXPECT_EQ(TextsOf(MembersOf(device, deviceInterface)), deviceMembers);
    EXPECT_EQ(MembersOf(device, managerInterface).size(), 0u) << "devices have no methods";
    const size_t covered =
        jobMethods.size() + deviceMethods.size() + twoDeviceMethods.size() + currentJobMethods.size();
    EXPECT_EQ(methods.size(), covered + 6) << "CreateJob, OpenJob and four on the target have tests of their own";
}

TEST_F(InterfaceTest, DevicesStandUnderTheObjectManagerWithTheirProperties) {
    const WireArguments objects =
        service.Client().CallOn(managerPath, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects").Arguments();
    EXPECT_EQ(objects.signature, "a{oa{sa{sv}}}");
    const WireValue expected = {
        {"DeviceState", "Idle"},
        {"CurrentJobID", ""},
        {"JobListStatus", true},
        {"JobListStats", R"({"nRuvoJobs":0,"nTamsyJobs":0,"nTamsyJobsAtReIndex":0})"},
        {"SearchStats",
         R"({"caseSensitive":false,"field":null,"matchCriterion":"contains","matchLimit":0,"nMatches":0})"}};
    const WireValue& tree = objects.values.at(0);
    EXPECT_EQ(tree.size(), 2u);
    for (const char* card : {"front", "back"})
        EXPECT_EQ(tree.at(RunningService::DevicePath(card)).at(deviceInterface), expected) << card;
    EXPECT_EQ(Text("GetJobListStats", ""), CodeAndText(0, expected["JobListStats"]));
    EXPECT_EQ(Text("GetSearchStats", "back"), CodeAndText(0, expected["SearchStats"]));
    const WireArguments target = service.Client().ReadProperty(managerPath, managerInterface, "TargetDeviceID");
    EXPECT_EQ(target.values.at(0), "front");
    EXPECT_EQ(target.variantTypes, Texts{"s"});
}

TEST_F(InterfaceTest, AnUnknownDeviceComesBeforeAMissingJob) {
    for (const Texts& group : {jobMethods, deviceMethods})
        for (const std::string& method : group) {
            std::vector<Simulator::Value> arguments = Blanks(methods.at(method).in, "");
            arguments[0] = "nowhere";
            EXPECT_EQ(CodeOf(method, arguments), JOBS_RTN_DEVICE_NOT_FOUND) << method;
        }
    for (const std::string& method : jobMethods)
        EXPECT_EQ(CodeOf(method, Blanks(methods.at(method).in, "")), JOBS_RTN_NO_CURRENT_JOB) << method;
    EXPECT_TRUE(WriteActive().empty()) << "nothing was worked on";
    for (const std::string& method : deviceMethods) {
        const Reply reply =
            service.Client().CallOn(managerPath, managerInterface, method, Blanks(methods.at(method).in, ""));
        EXPECT_NE(reply.Arguments().values.flatten().front(), JOBS_RTN_DEVICE_NOT_FOUND) << method;
    }
}

TEST_F(InterfaceTest, TransfersNeedBothDevicesByName) {
    for (const std::string& method : twoDeviceMethods)
        for (const auto& [source, destination] :
             {std::pair{"front", "nowhere"}, {"nowhere", "back"}, {"", "back"}, {"front", ""}}) {
            std::vector<Simulator::Value> arguments = Blanks(methods.at(method).in, "");
            arguments[0] = source;
            arguments[1] = destination;
            EXPECT_EQ(CodeOf(method, arguments), JOBS_RTN_DEVICE_NOT_FOUND) << method << source << destination;
        }
}

TEST_F(InterfaceTest, WorkOnTheCurrentJobNeedsOne) {
    for (const std::string& method : currentJobMethods)
        EXPECT_EQ(CodeOf(method, Blanks(methods.at(method).in, "x")), JOBS_RTN_NO_CURRENT_JOB) << method;
    EXPECT_EQ(Call("GetCurrentJobID").Read<std::string>(), "");
    EXPECT_EQ(Call("GetCurrentJobDeviceID").Read<std::string>(), "");
}

TEST_F(InterfaceTest, AnEmptyPathIsABusErrorOfItsOwn) {
    const auto error = [this](const std::string& method, const Texts& texts) {
        std::vector<Simulator::Value> arguments = Blanks(methods.at(method).in, "");
        std::copy(texts.begin(), texts.end(), arguments.begin());
        const Reply reply = service.Client().CallOn(managerPath, managerInterface, method, arguments);
        EXPECT_EQ(reply.ErrorName(), "org.freedesktop.DBus.Error.Failed") << method;
        return reply.ErrorMessage();
    };
    LogCapture::Take();
    struct Case {
        std::string method;
        std::string main;
        std::string third;
    };
    for (const auto& [method, main, third] : {Case{"AddVideoMedia", "video", "thumbnail"},
                                              {"AddAutologMedia", "autolog", "thumbnail"},
                                              {"AddPhotoTalkMedia", "photoTalk", "image"}}) {
        EXPECT_EQ(error(method, {"name", "", "", "", "m"}), "Invalid " + main + " filepath");
        EXPECT_EQ(error(method, {"name", "a", "", "", "m"}), "Invalid recovery filepath") << method;
        EXPECT_EQ(error(method, {"name", "a", "b", "", "m"}), "Invalid " + third + " filepath");
    }
    EXPECT_EQ(error("AddSnapshotMedia", {"name", ""}), "Invalid snapshot filepath");
    EXPECT_EQ(error("UpdateMediaFileSizes", {""}), "Invalid media filepath");
    EXPECT_EQ(error("GetMediaID", {""}), "Invalid media filepath");
    EXPECT_EQ(Errors(), Texts{}) << "such a call leaves no line";
}

TEST_F(InterfaceTest, TheBusItselfAnswersWhatTheInterfaceDoesNotHave) {
    EXPECT_EQ(Call("GetJobName", "front").ErrorName(), "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(Call("GetJobName", "front", uint32_t{1}).ErrorName(), "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(Call("Reboot").ErrorName(), "org.freedesktop.DBus.Error.UnknownMethod");
    const Reply write = service.Client().CallOn(managerPath, "org.freedesktop.DBus.Properties", "GetAll", {"a.b"});
    EXPECT_EQ(write.ErrorName(), "org.freedesktop.DBus.Error.UnknownInterface");
    EXPECT_EQ(Call("GetTargetDeviceID").Read<std::string>(), "front") << "and the service lives on";
}

TEST_F(InterfaceTest, CallsForManyJobsAreToldInTheLog) {
    const Texts ids{"a"};
    for (const char* method : {"DeleteAllJobs", "MoveAllJobs", "CopyAllJobs"}) {
        method == std::string("DeleteAllJobs") ? Call(method, "none") : Call(method, "none", "none");
        EXPECT_TRUE(Logged(LOG_INFO, method));
    }
    Call("DeleteJobList", "none", ids);
    Call("MoveJobList", "none", "none", ids);
    Call("CopyJobList", "none", "none", ids);
    for (const char* method : {"DeleteJobList", "MoveJobList", "CopyJobList"})
        EXPECT_TRUE(Logged(LOG_INFO, std::string(method) + " - rtn = 2"));
}

TEST_F(InterfaceTest, WhatNoMessageTakesIsRefusedAndTheServiceLivesOn) {
    const CreatedJob job = CreateJob();
    CloseJob();
    EditJobFile(job, [](Json& document) { document["notes"] = std::string(size_t{32} << 20, 'x'); });
    ForgetTraffic();
    const auto refusal = [this](const std::string& method, const auto&... arguments) {
        const Reply reply = Call(method, arguments...);
        return reply.ErrorName() + ": " + reply.ErrorMessage();
    };
    const std::string failed = "org.freedesktop.DBus.Error.Failed: Failed to build ";
    EXPECT_EQ(refusal("GetJob", "front", job.id), failed + "reply");
    EXPECT_EQ(refusal("GetJobNotes", "front", job.id), failed + "response");
    EXPECT_EQ(Text("GetJobName", "front", job.id), CodeAndText(JOBS_RTN_SUCCEEDED, "Main Street"));
}

} // namespace
} // namespace Testing

#include "device/ServiceTest.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <syslog.h>

namespace fs = std::filesystem;

namespace Testing {
namespace {

std::string LastName(const std::string& path) {
    const std::string name = path.substr(path.rfind('/') + 1);
    return name == "JobsManagerDaemon1" ? "manager" : name;
}

std::string Line(const Signal& signal) {
    std::string line = LastName(signal.path);
    if (signal.member.starts_with("Interfaces"))
        return line + " " + signal.member + " " + LastName(signal.arguments.values.at(0));
    if (signal.member != "PropertiesChanged")
        return line + " " + signal.member;
    for (const auto& [name, value] : signal.arguments.values.at(1).items())
        line += " " + name + "=" + (value.is_string() ? value.get<std::string>() : value.dump());
    return line;
}

} // namespace

ServiceOptions ServiceTest::FrontAndBack() {
    ServiceOptions options;
    options.cards = {{"front"}, {"back"}};
    return options;
}

ServiceTest::ServiceTest(ServiceOptions options) : service(options) {
    for (const ServiceOptions::Card& card : options.cards) {
        const bool isServed = service.InitResult() >= 0 && card.isMounted;
        EXPECT_TRUE(!isServed || service.WaitForDeviceProperty(card.id, "DeviceState", "Idle"));
    }
}

CreatedJob ServiceTest::CreateJob(const std::string& name, const std::string& card) {
    const auto [code, device, summary] = Call("CreateJob", card, name).Read<int32_t, std::string, std::string>();
    if (code != JobsManagerD::JOBS_RTN_SUCCEEDED)
        throw std::runtime_error("CreateJob answered " + std::to_string(code));
    return {Json::parse(summary).at("id"), std::get<1>(Text("GetJobFolderPath", "", ""))};
}

int32_t ServiceTest::OpenJob(const CreatedJob& job, const std::string& card) {
    return std::get<0>(Call("OpenJob", card, job.id).Read<int32_t, std::string, std::string>());
}

void ServiceTest::Write(const fs::path& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    if (!file.flush())
        throw std::runtime_error("cannot write " + path.string());
}

std::string ServiceTest::Read(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path.string());
    return (std::ostringstream() << file.rdbuf()).str();
}

void ServiceTest::EditJobFile(const CreatedJob& job, const std::function<void(Json&)>& edit) {
    Json document = JobFile(job);
    edit(document);
    Write(job.File(), document.dump());
}

std::string ServiceTest::AddSnapshot(const CreatedJob& job, const std::string& name, size_t size) {
    Write(job.Media(name), std::string(size, 'p'));
    const int32_t code = Code("AddSnapshotMedia", "Picture", job.Media(name).string(), false, 0, false, 0, false, 0, 0);
    if (code != JobsManagerD::JOBS_RTN_SUCCEEDED)
        throw std::runtime_error("AddSnapshotMedia answered " + std::to_string(code));
    return MediaID(job.Media(name));
}

Texts ServiceTest::Traffic() {
    // What the service sent before it answers this is in the record then.
    Call("GetTargetDeviceID");
    Texts lines;
    for (const Signal& signal : service.Client().TakeSignals())
        if (signal.path != "/org/freedesktop/DBus")
            lines.push_back(Line(signal));
    return lines;
}

Texts ServiceTest::TrafficBesideIndexing(const std::string& card) {
    EXPECT_TRUE(service.WaitForDeviceProperty(card, "DeviceState", "Idle"));
    Texts lines = Traffic();
    std::erase_if(lines, [](const std::string& line) {
        const bool tellsOfJobs = line.find(" JobListStatus=") != std::string::npos;
        return line.find(" DeviceState=") != std::string::npos ||
               (tellsOfJobs && line.find(" CurrentJobID=") == std::string::npos);
    });
    return lines;
}

Texts ServiceTest::WriteActive() {
    Texts calls;
    for (const auto& [id, reserved, isActive] : Unit().Storage().WriteActiveCalls())
        calls.push_back(id + (isActive ? " on" : " off") + (reserved == 0 ? "" : " with a reserved byte"));
    Unit().Storage().ForgetCalls();
    return calls;
}

void ServiceTest::SettleStorage() {
    const std::string nobody = "nobody" + std::to_string(++settled);
    Unit().Storage().RawPropertiesChanged(nobody, {{"IsMounted", false}});
    ASSERT_TRUE(LogCapture::WaitFor("no corresponding Managed Device for removed storage device "
                                    "/com/corvane/common/StorageDaemon1/" +
                                    nobody));
}

void ServiceTest::SettleSettings() {
    const size_t before = LogCapture::Count("Mallformed path string");
    Unit().Settings().RawChanged("/", {});
    ASSERT_TRUE(LogCapture::WaitFor("Mallformed path string", before + 1));
}

testing::AssertionResult ServiceTest::Logged(int priority, const std::string& text) {
    const std::vector<LogLine> lines = LogCapture::Lines();
    if (std::ranges::find(lines, LogLine{priority, text}) != lines.end())
        return testing::AssertionSuccess();
    auto failure = testing::AssertionFailure() << "no line <" << priority << "> " << text << " among:";
    for (const LogLine& line : lines)
        failure << "\n<" << line.priority << "> " << line.text;
    return failure;
}

Texts ServiceTest::Errors() {
    Texts errors;
    for (const LogLine& line : LogCapture::Lines())
        if (line.priority == LOG_ERR && line.text.find("GPS device") == std::string::npos)
            errors.push_back(line.text);
    return errors;
}

} // namespace Testing

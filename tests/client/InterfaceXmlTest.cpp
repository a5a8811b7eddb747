#include "device/ServiceTest.h"

#include <fstream>
#include <map>
#include <sstream>

namespace Testing {
namespace {

const std::string manager = "com.corvane.common.JobsManagerDaemon1";

/// The value of an attribute of an element that stands on one line.
std::string Attribute(const std::string& line, const std::string& name) {
    const std::string opening = " " + name + "=\"";
    const size_t start = line.find(opening);
    return start == std::string::npos
               ? ""
               : line.substr(start + opening.size(), line.find('"', start + opening.size()) - start - opening.size());
}

struct Member {
    std::string kind;  ///< "method", "signal" or "property"
    std::string types; ///< "ss -> (iss)"; of a signal or property its types alone
    bool isDescribed = false;
    bool namesArguments = true;

    bool operator==(const Member& other) const { return kind == other.kind && types == other.types; }
};

/// The members of one interface in an introspection document, by their names.
std::map<std::string, Member> Members(const std::string& xml, const std::string& interface) {
    std::map<std::string, Member> members;
    std::istringstream lines(xml);
    Member* member = nullptr;
    bool isInside = false;
    for (std::string line; std::getline(lines, line);) {
        const size_t start = line.find('<') + 1;
        const std::string tag = start == 0 ? "" : line.substr(start, line.find_first_of(" >", start) - start);
        if (tag == "interface")
            isInside = Attribute(line, "name") == interface;
        else if (!isInside)
            continue;
        else if (tag == "method" || tag == "signal" || tag == "property") {
            member = &members[Attribute(line, "name")];
            *member = {tag, tag == "method" ? " -> " : Attribute(line, "type")};
        } else if (tag == "annotation") {
            member->isDescribed |= Attribute(line, "name") == "org.gtk.GDBus.DocString";
        } else if (tag == "arg") {
            const bool isInput = Attribute(line, "direction") == "in";
            const size_t place = isInput ? member->types.find(" -> ") : member->types.size();
            member->types.insert(place, Attribute(line, "type"));
            member->namesArguments &= !Attribute(line, "name").empty();
        }
    }
    return members;
}

std::map<std::string, Member> Shipped(const std::string& interface) {
    std::ifstream file(std::string(TARN_INTERFACES) + "/" + interface + ".xml");
    return Members({std::istreambuf_iterator<char>(file), {}}, interface);
}

std::ostream& operator<<(std::ostream& out, const Member& member) { return out << member.kind << " " << member.types; }

class InterfaceXmlTest : public ServiceTest {
protected:
    void WaitForFinish(const std::string& signal) { service.Client().WaitForSignal(signal); }
};

/// Of signals the service declares less than it sends; the test after this one looks at what it sends.
TEST_F(InterfaceXmlTest, TheShippedFilesHaveWhatTheServiceDeclares) {
    for (const auto& [interface, path] : {std::pair(manager, std::string("/com/corvane/common/JobsManagerDaemon1")),
                                          std::pair(manager + ".Device", RunningService::DevicePath("front"))}) {
        const auto declared = Members(service.Client().Introspect(path), interface);
        const auto shipped = Shipped(interface);
        EXPECT_FALSE(shipped.empty());
        for (const auto& [name, member] : declared) {
            ASSERT_TRUE(shipped.contains(name)) << name;
            EXPECT_TRUE(member.kind == "signal" || shipped.at(name) == member) << name << ": " << shipped.at(name);
        }
        for (const auto& [name, member] : shipped) {
            EXPECT_TRUE(declared.contains(name) || member.kind == "signal") << name << " is not there";
            EXPECT_TRUE(member.isDescribed) << name;
            EXPECT_TRUE(member.namesArguments) << name;
        }
    }
}

TEST_F(InterfaceXmlTest, SignalsAreSentAsTheFileSays) {
    const CreatedJob job = CreateJob();
    EXPECT_EQ(Code("SetJobNotes", std::string(), std::string(), std::string("Roots")), 0);
    EXPECT_EQ(CloseJob(), 0);
    const Texts ids = {job.id, "unknown"};
    EXPECT_EQ(Code("CopyJobList", std::string("front"), std::string("back"), ids), 0);
    WaitForFinish("JobListCopyFinish");
    EXPECT_TRUE(service.WaitForDeviceProperty("front", "DeviceState", "Idle"));
    EXPECT_EQ(Code("DeleteJobList", std::string("front"), ids), 0);
    WaitForFinish("JobListDeleteFinish");
    EXPECT_TRUE(service.WaitForDeviceProperty("back", "DeviceState", "Idle"));
    EXPECT_TRUE(service.WaitForDeviceProperty("front", "DeviceState", "Idle"));
    EXPECT_EQ(Code("MoveJobList", std::string("back"), std::string("front"), ids), 0);
    WaitForFinish("JobListMoveFinish");

    std::map<std::string, Member> sent;
    for (const Signal& signal : service.Client().Signals())
        if (signal.interface == manager)
            sent[signal.member] = {"signal", signal.arguments.signature};
    auto expected = Shipped(manager);
    std::erase_if(expected, [](const auto& entry) { return entry.second.kind != "signal"; });
    EXPECT_EQ(sent, expected);
}

TEST_F(InterfaceXmlTest, ThePageOnTheInterfaceHasAllOfIt) {
    const std::string page = Read(TARN_INTERFACE_PAGE);
    for (const std::string& interface : {manager, manager + ".Device"})
        for (const auto& [name, member] : Shipped(interface)) {
            EXPECT_NE(page.find("`" + name + "`"), std::string::npos) << name << " is not told of";
            EXPECT_TRUE(member.kind != "method" || page.find("$ call " + name) != std::string::npos ||
                        page.find("$(call " + name) != std::string::npos)
                << name << " has no example";
        }
}

} // namespace
} // namespace Testing

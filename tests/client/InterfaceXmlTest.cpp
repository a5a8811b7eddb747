#include "device/ServiceTest.h"

#include <regex>

namespace Testing {
namespace {

/// The element of the interface in an introspection document.
std::string InterfaceIn(const std::string& xml, const std::string& name) {
    const std::string end = "</interface>";
    const size_t start = xml.find("<interface name=\"" + name + "\">");
    return start == std::string::npos ? "" : xml.substr(start, xml.find(end, start) + end.size() - start);
}

class InterfaceXmlTest : public ServiceTest {};

TEST_F(InterfaceXmlTest, TheShippedFilesAreWhatTheServiceDeclares) {
    const std::string manager = "com.corvane.common.JobsManagerDaemon1";
    const std::string device = manager + ".Device";
    for (const auto& [name, path] : {std::pair(manager, std::string("/com/corvane/common/JobsManagerDaemon1")),
                                     std::pair(device, RunningService::DevicePath("front"))}) {
        const std::string declared = InterfaceIn(service.Client().Introspect(path), name);
        EXPECT_NE(declared, "");
        EXPECT_EQ(InterfaceIn(Read(std::string(TARN_INTERFACES) + "/" + name + ".xml"), name), declared);
    }
}

TEST_F(InterfaceXmlTest, ThePageOnTheInterfaceHasAllOfIt) {
    const std::string page = Read(TARN_INTERFACE_PAGE);
    const std::regex member("<(method|property|signal) name=\"([A-Za-z]+)\"");
    size_t members = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TARN_INTERFACES)) {
        const std::string xml = Read(entry.path());
        for (std::sregex_iterator found(xml.begin(), xml.end(), member), end; found != end; ++found, ++members) {
            const std::string name = (*found)[2];
            EXPECT_NE(page.find("`" + name + "`"), std::string::npos) << name << " is not told of";
            const std::string example = (*found)[1] == "method" ? "call " + name : name;
            EXPECT_NE(page.find(example), std::string::npos) << name << " has no example";
        }
    }
    EXPECT_EQ(members, 77 + 5u);
}

} // namespace
} // namespace Testing

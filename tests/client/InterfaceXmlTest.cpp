#include "device/ServiceTest.h"

#include <sstream>

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
    size_t members = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TARN_INTERFACES)) {
        std::istringstream xml(Read(entry.path()));
        for (std::string line; std::getline(xml, line);) {
            const bool isMethod = line.find("<method name=\"") != std::string::npos;
            if (!isMethod && line.find("<property name=\"") == std::string::npos &&
                line.find("<signal name=\"") == std::string::npos)
                continue;
            const size_t start = line.find('"') + 1;
            const std::string name = line.substr(start, line.find('"', start) - start);
            EXPECT_NE(page.find("`" + name + "`"), std::string::npos) << name << " is not told of";
            EXPECT_TRUE(!isMethod || page.find("$ call " + name) != std::string::npos ||
                        page.find("$(call " + name) != std::string::npos)
                << name << " has no example";
            ++members;
        }
    }
    EXPECT_EQ(members, 77 + 5u);
}

} // namespace
} // namespace Testing

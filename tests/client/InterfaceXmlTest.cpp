#include "device/ServiceTest.h"

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

} // namespace
} // namespace Testing

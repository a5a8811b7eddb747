#include "simulator/SettingsService.h"

namespace Simulator {
namespace {

const Properties defaultJobSettings = {
    {"hideJobFiles", false},
    {"defaultJobName", "Job"},
    {"jobNameSuffixFormat", "%Y-%m-%d"},
    {"signalJobListChanges", "All"},
    {"multiJobIndexUpdatePeriod", uint32_t{500}},
    {"multiJobMoveCopyUpdatePeriod", uint32_t{500}},
    {"multiJobConvertUpdatePeriod", uint32_t{500}},
    {"multiJobDeleteUpdatePeriod", uint32_t{500}},
};

constexpr const char* companyContact = "companyContact";

/// The settings as a change notice tells them.
Properties AsTold(Properties settings) {
    for (auto& [key, value] : settings)
        if (const auto* text = std::get_if<std::string>(&value); text && key == companyContact)
            value = Structure{*text};
    return settings;
}

} // namespace

SettingsService::SettingsService(EventThread& loop, std::string busAddress)
    : PeerService(loop, std::move(busAddress), "com.corvane.common.Settings1") {
    AddObject({SectionPath("jobs"), RootInterface(), defaultJobSettings});
    AddObject({SectionPath("contacts"), RootInterface(), {{companyContact, "{}"}}});
}

void SettingsService::Set(const std::string& section, const Properties& settings) {
    Run([&] {
        for (const auto& [key, value] : settings)
            SetSilently(section, key, value);
        RawChanged(SectionPath(section), AsTold(settings));
    });
}

void SettingsService::SetSilently(const std::string& section, const std::string& key, const Value& value) {
    Run([&] {
        if (!HasObject(SectionPath(section)))
            AddObject({SectionPath(section), RootInterface(), {}});
        PeerService::SetSilently(SectionPath(section), {{key, value}});
    });
}

void SettingsService::DropSetting(const std::string& section, const std::string& key) {
    DropProperty(SectionPath(section), key);
}

void SettingsService::RawChanged(const std::string& path, const Properties& settings) {
    EmitPropertiesChanged(path, RootInterface(), settings);
}

} // namespace Simulator

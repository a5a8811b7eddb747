#pragma once

#include "simulator/PeerService.h"

namespace Simulator {

/// The settings service: one object per section, each setting a property of it. Sections "jobs" and "contacts" are
/// there from the start, with what a unit has out of the box.
///
/// A company contact is JSON text, "s" where it is read and "(s)" where its change is told.
class SettingsService : public PeerService {
public:
    SettingsService(EventThread& loop, std::string busAddress);

    /// Changes a setting and tells it. A section or key that is not there yet comes into being.
    void Set(const std::string& section, const std::string& key, const Value& value) { Set(section, {{key, value}}); }
    /// Changes several settings and tells them in one notice.
    void Set(const std::string& section, const Properties& settings);
    /// Changes a setting without a notice, to any type.
    void SetSilently(const std::string& section, const std::string& key, const Value& value);
    /// From now on the setting is unknown.
    void DropSetting(const std::string& section, const std::string& key);
    /// Tells changes that did not happen, from any path and of any type.
    void RawChanged(const std::string& path, const Properties& settings);

    std::string SectionPath(const std::string& section) const { return RootPath() + "/" + section; }
};

} // namespace Simulator

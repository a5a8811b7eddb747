#pragma once

#include "device/ManagedDevice.h"

namespace JobsManagerD {

/// Name of an accessor, and how its log lines name it.
struct ManagedDevice::AccessorNames {
    AccessorNames(const char* name) : method(name), savedAs(name) {}
    AccessorNames(const char* name, const char* saveName) : method(name), savedAs(saveName) {}
    /// For an accessor whose lines do not name the class.
    static AccessorNames WithoutClass(const char* name) {
        AccessorNames names(name);
        names.prefix = "";
        return names;
    }

    const char* method;
    const char* savedAs;
    const char* prefix = "ManagedDevice::";
};

} // namespace JobsManagerD

#pragma once

#include <array>
#include <cstddef>

/// The job programs as they appear in the names of files. Not the numbers that select
/// tables, catalogs and traces: `scan` is component 2 and program 9.
enum Component : int { COMPONENT_AGENT = 0, COMPONENT_PROBE = 1, COMPONENT_SCAN = 2 };

/// "agent", "probe", "scan" and so on; "vex" for a number without a name.
[[nodiscard]] inline const char* componentName(int component) {
    static constexpr std::array<const char*, 16> kNames = {
        "agent",           "probe",        "scan",
        "fabricdiscovery", "vexutil",      "discovery",
        "dbmonitor",       "fabricprobe",  "fabriczonecontrol",
        "naprobe",         "netapp_quota", "netapp_resolveids",
        "multipath",       "notify",       "hbainfo",
        "migration"};
    const auto index = static_cast<std::size_t>(component);
    return component >= 0 && index < kNames.size() ? kNames[index] : "vex";
}

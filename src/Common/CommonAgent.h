#pragma once

#include <cstdint>
#include <string>

/// What the job programs ask of their host. Any thread.
class CommonAgent {
public:
    virtual ~CommonAgent() = default;

    /// Makes the object ready: true.
    [[nodiscard]] bool initialize();

    /// When the host was started, in milliseconds since the epoch; 0 if the system does not
    /// tell, which is logged.
    [[nodiscard]] virtual std::int64_t getLastBootTime() const;

    /// The offset of local time now, in the form "GMT+HH:MM".
    [[nodiscard]] static std::string getTimeZone();

    bool isWindows = false;  // each branch on it takes its other side here
};

/// Hands out the single CommonAgent, which lives as long as the process.
class CommonAgentFactory {
public:
    [[nodiscard]] static CommonAgent* getCommonAgent();
};

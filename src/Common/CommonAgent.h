#pragma once

/// What the job programs ask of their host.
class CommonAgent {
public:
    bool isWindows = false;  // each branch on it takes its other side here
};

/// Hands out the single CommonAgent, which lives as long as the process.
class CommonAgentFactory {
public:
    static CommonAgent* getCommonAgent() {
        static CommonAgent agent;
        return &agent;
    }
};

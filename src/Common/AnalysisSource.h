#pragma once

/// What a set of results is about: a file system or a monitored directory. A holder finds
/// out which one it has by a dynamic_cast.
class AnalysisSource {
public:
    virtual ~AnalysisSource() = default;

protected:
    AnalysisSource() = default;
    AnalysisSource(const AnalysisSource&) = default;
    AnalysisSource& operator=(const AnalysisSource&) = default;
};

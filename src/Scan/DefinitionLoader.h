#pragma once

#include <memory>
#include <string>

#include "Common/ParserAPI.h"

class AgentScan;
class CuStatDef;
class Filesystem;
struct NasFiler;

/// Builds a request from a definition file:
///
///     std::unique_ptr<AgentScan> request = DefinitionLoader(path).load();
///
/// File systems and monitored directories come out in reverse file order, statistics in
/// file order. Raises what ParserAPI and the classes of the request raise.
class DefinitionLoader {
public:
    explicit DefinitionLoader(const std::string& path);

    [[nodiscard]] std::unique_ptr<AgentScan> load();

private:
    using Entity = ParserAPI::Entity;

    void loadAgentScan(const Entity& entity, AgentScan& request);
    void loadFilesystem(const Entity& entity, AgentScan& request);
    void loadMonDirSpec(const Entity& entity, AgentScan& request);
    void loadCuStatDef(const Entity& entity, AgentScan& request);
    void loadResultsByFS(const Entity& entity, CuStatDef& statistic);
    [[nodiscard]] std::unique_ptr<NasFiler> makeFiler(const Entity& entity);

    /// Makes an object of a class that is built from an entity.
    template <class T>
    [[nodiscard]] std::unique_ptr<T> make(const Entity& entity);

    ParserAPI parser;
    CuStatDef* lastStatistic = nullptr;  // not owned; the tail of the list is found from here
};

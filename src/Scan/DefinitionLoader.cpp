#include "Scan/DefinitionLoader.h"

#include "Common/ComputerID.h"
#include "Common/EntityNames.h"
#include "Probe/Filesystem.h"
#include "Scan/AgentScan.h"
#include "Scan/CuStatDef.h"
#include "Scan/MonDirSpec.h"
#include "Scan/ResultsByFS.h"
#include "common/ut/TraceScope.h"

DefinitionLoader::DefinitionLoader(const std::string& path) : parser(path) {}

std::unique_ptr<AgentScan> DefinitionLoader::load() {
    TraceScope scope("DefinitionLoader::load");
    auto request = std::make_unique<AgentScan>();
    std::unique_ptr<Entity> entity;
    while (std::unique_ptr<Entity> next = parser.findNextEntity(entity.get())) {
        entity = std::move(next);
        trTrace(naMax, "found entity: %s\n", entity->name.c_str());
        if (entity->name == entity::AgentScan)
            loadAgentScan(*entity, *request);
        // A file that ends inside the entity fails here.
        static_cast<void>(parser.getEntityData(*entity));
    }
    return request;
}

template <class T>
std::unique_ptr<T> DefinitionLoader::make(const Entity& entity) {
    TraceScope scope("DefinitionLoader::make");
    const Row header = parser.getEntityHeader(entity);
    const Table rows = parser.getEntityData(entity);
    auto object = std::make_unique<T>();
    if constexpr (requires { object->inititializeObject(header, rows); })
        object->inititializeObject(header, rows);
    else
        object->initializeObject(header, rows);
    return object;
}

void DefinitionLoader::loadAgentScan(const Entity& entity, AgentScan& request) {
    TraceScope scope("DefinitionLoader::loadAgentScan");
    trTrace(naMax, "AgentScan found\n");
    const Row header = parser.getEntityHeader(entity);
    request.inititializeObject(header, parser.getEntityData(entity));

    trTrace(naMax, "trying to get the sub-level-entities\n");
    const auto children = parser.getEntityChildren(entity);
    trTrace(naMax, "found %d to get the sub-level-entities\n",
            static_cast<int>(children.size()));
    for (const auto& child : children) {
        trTrace(naMax, "found subentity: %s\n", child->name.c_str());
        if (child->name == entity::Filesystem)
            loadFilesystem(*child, request);
        else if (child->name == entity::CuStatDef)
            loadCuStatDef(*child, request);
        else if (child->name == entity::MonDirSpec)
            loadMonDirSpec(*child, request);
    }
}

void DefinitionLoader::loadFilesystem(const Entity& entity, AgentScan& request) {
    TraceScope scope("DefinitionLoader::loadFilesystem");
    auto filesystem = make<Filesystem>(entity);
    filesystem->fsComputerID = ComputerID::scanning();  // which is not known yet
    for (const auto& child : parser.getEntityChildren(entity)) {
        if (child->name == entity::NasFiler)
            filesystem->filer = makeFiler(*child);  // of several the last one stays
    }
    filesystem->next = request.getFilesystems();
    request.setFilesystems(filesystem.release());
}

std::unique_ptr<NasFiler> DefinitionLoader::makeFiler(const Entity& entity) {
    TraceScope scope("DefinitionLoader::makeFiler");
    auto filer = make<NasFiler>(entity);
    for (const auto& child : parser.getEntityChildren(entity)) {
        if (child->name == entity::LdapTree)
            filer->tree = make<LdapTree>(*child);
        else if (child->name == entity::Domain)
            filer->domains.push_back(make<Domain>(*child));
        else if (child->name == entity::Filesystem)
            filer->filesystem = make<Filesystem>(*child);
    }
    return filer;
}

void DefinitionLoader::loadMonDirSpec(const Entity& entity, AgentScan& request) {
    TraceScope scope("DefinitionLoader::loadMonDirSpec");
    auto dirSpec = make<MonDirSpec>(entity);
    dirSpec->setDirectories(request.getDirectories());
    request.setDirectories(dirSpec.release());
}

void DefinitionLoader::loadCuStatDef(const Entity& entity, AgentScan& request) {
    TraceScope scope("DefinitionLoader::loadCuStatDef");
    auto statistic = make<CuStatDef>(entity);
    for (const auto& child : parser.getEntityChildren(entity)) {
        if (child->name == entity::ResultsByFS)
            loadResultsByFS(*child, *statistic);
    }
    if (lastStatistic) {
        statistic->sdPrev = lastStatistic->getTail();
        statistic->sdPrev->sdNext = statistic.get();
    } else {
        request.setStatistics(statistic.get());
    }
    lastStatistic = statistic.release();
}

/// The results that a statistic wants for a file system that it names: only the first
/// child counts, and without one the results have no source.
void DefinitionLoader::loadResultsByFS(const Entity& entity, CuStatDef& statistic) {
    TraceScope scope("DefinitionLoader::loadResultsByFS");
    auto results = std::make_unique<ResultsByFS>();
    const auto children = parser.getEntityChildren(entity);
    if (!children.empty() && children.front()->name == entity::Filesystem) {
        results->keptSource = make<Filesystem>(*children.front());
        results->rfDirOrFS = results->keptSource.get();
    }
    results->nextResultsByFS = statistic.sdResults;
    statistic.sdResults = results.release();
}

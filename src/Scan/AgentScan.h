#pragma once

#include <cstdint>
#include <string>

#include "Common/EntityToObjectMapper.h"

class CuStatDef;
class Filesystem;
class GenericPrint;
class MonDirSpec;

/// A request to scan: the root of what a definition file says. Owns the three lists. Built
/// on the main thread, and during the scan changed by FilesystemScan alone.
class AgentScan : public EntityToObjectMapper {
public:
    ~AgentScan() override;  // deletes the lists

    /// Takes the first row only, and the two columns only at their fixed places.
    void inititializeObject(const Row& header, const Table& rows) override;

    [[nodiscard]] Filesystem* getFilesystems() const { return m_pFilesystem; }
    [[nodiscard]] MonDirSpec* getDirectories() const { return m_pDirectories; }
    [[nodiscard]] CuStatDef* getStatistics() const { return m_pStatistics; }

    /// Each stores a new head of its list and takes ownership of what hangs on it; the
    /// members before it are the caller's.
    void setFilesystems(Filesystem* head);
    void setDirectories(MonDirSpec* head);
    void setStatistics(CuStatDef* head);

    /// Writes the header block of a result file: every entity type with its columns.
    static void printHeader(GenericPrint& out);

    /// Writes the row alone.
    void printRow(GenericPrint& out) const;

    /// Writes the row and the three lists as they stand.
    void printData(GenericPrint& out) const;
    void printFilesystems(GenericPrint& out) const;
    void printMonDirSpecs(GenericPrint& out) const;
    void printCuStatDefs(GenericPrint& out) const;

    std::string asJobName;
    std::int32_t asScanningCompID = 0;

private:
    Filesystem* m_pFilesystem = nullptr;   // owned, linked by next
    MonDirSpec* m_pDirectories = nullptr;  // owned, linked by mdsNext
    CuStatDef* m_pStatistics = nullptr;    // owned, linked by sdNext
};

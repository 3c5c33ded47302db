#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Common/EntityToObjectMapper.h"
#include "Scan/SelectNode.h"

class GenericPrint;

/// A directory, or a mask of directories, that the request wants to see by itself.
class MonDirSpec : public EntityToObjectMapper {
public:
    /// `mdsMaskedPath` knows "Y", "y", "N" and "n"; other texts leave it alone.
    void inititializeObject(const Row& header, const Table& rows) override;

    static void printHeader(GenericPrint& out);

    /// Writes the row, with the start and end lines of the entity if `bracket` is set.
    void printData(GenericPrint& out, bool bracket = true) const;

    [[nodiscard]] MonDirSpec* getDirectories() const { return mdsNext; }
    void setDirectories(MonDirSpec* nextSpec);

    [[nodiscard]] const std::string& getMdsPath() const { return mdsPath; }
    void setMdsPath(const std::string& path) { mdsPath = path; }
    [[nodiscard]] bool getMdsMaskedPath() const { return mdsMaskedPath; }
    void setMdsMaskedPath(bool masked) { mdsMaskedPath = masked; }
    [[nodiscard]] std::int32_t getMdsComputerID() const { return mdsComputerID; }
    [[nodiscard]] std::int32_t getMdsGroupID() const { return mdsGroupID; }
    [[nodiscard]] std::int32_t getMdsID() const { return mdsID; }

    [[nodiscard]] const SelectNode* getSelectNode() const { return selectNode.get(); }
    void setSelectNode(std::unique_ptr<SelectNode> filter) { selectNode = std::move(filter); }

    MonDirSpec* mdsNext = nullptr;  // owned by the list's holder
    std::int32_t mdsID = 0;
    std::int32_t mdsGroupID = 0;
    std::int32_t mdsComputerID = 0;
    std::string mdsPath;
    bool mdsMaskedPath = false;

private:
    std::unique_ptr<SelectNode> selectNode;  // null until compiled
};

#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "Scan/Accumulator.h"
#include "Scan/FileType.h"
#include "Scan/NMost.h"
#include "Scan/PackedTable.h"

/// The extensions of regular files that use the most space.
///
/// A walk can meet millions of extensions, so one takes 24 bytes here and at most 12 for
/// finding it; only those that get into the ranking become records.
class FileTypeAccum : public Accumulator {
public:
    /// For the statistic `proID`; keeps `ftNumber` extensions. Names follow the rule of
    /// Windows or of other systems.
    FileTypeAccum(std::int32_t proID, bool isWindows, std::int32_t ftNumber);

    /// The end of a path from its last dot on, if it is an extension: not empty behind the
    /// dot, without a blank, and here at most six characters. Searches from the end and
    /// gives up early.
    [[nodiscard]] static bool extractExtensionName(std::string_view name, bool winOS,
                                                   std::string_view& extension);

    void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

    /// Hands the ranking over, the extension that uses the most first.
    void finish(CuStatResults* results) override;

private:
    /// An extension in lower case in one number, which sorts like the text.
    static constexpr std::size_t kPackedLength = 8;
    [[nodiscard]] static std::uint64_t packed(std::string_view extension);
    [[nodiscard]] static std::string unpacked(std::uint64_t extension);

    struct Usage {
        explicit Usage(std::uint64_t key = 0) : extension(key) {}
        [[nodiscard]] std::uint64_t key() const { return extension; }

        std::uint64_t extension;
        std::int64_t fileCount = 0;
        std::int64_t spaceUsed = 0;  // units of 512 bytes; wraps
    };

    [[nodiscard]] const FileType* fileTypeOf(std::uint64_t extension) const;

    PackedTable<Usage> summaries;
    std::unique_ptr<NMost> nMost;  // until finish()
    const std::int32_t profileID;
    const bool winOS;
    std::int32_t filesystemID = 0;
    FileTypeMap* fileTypeMap = nullptr;  // not owned; of the walk, null if it has none
};

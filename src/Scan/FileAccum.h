#pragma once

#include <cstdint>
#include <memory>

#include "Scan/Accumulator.h"
#include "Scan/NMost.h"
#include "Scan/SFile.h"

/// A ranking of files: the N of the highest key. A subclass says which files take part, by
/// which key, and which field of the results takes the list. Of an oldest file the key is
/// its time negated, so that here too the highest stays.
class FileAccum : public Accumulator {
public:
    /// `name` is the class of the ranking, `length` how many files it holds.
    FileAccum(const char* name, std::int32_t length)
        : Accumulator(name), nMost(std::make_unique<NMost>(length)) {}

    /// Hands the list over, the file of the highest key first.
    void finish(CuStatResults* results) override;

protected:
    /// Copies the file if it gets into the ranking.
    virtual void add(Scanner* pScanner, FileAttributes* pInfo, std::int64_t key,
                     std::int32_t statType);

    virtual void setResults(CuStatResults* results, SFileList list) = 0;

    /// The key of an oldest file, by a time in milliseconds. The least of all times, which
    /// no real file has, cannot be negated and counts as the one after it.
    [[nodiscard]] static std::int64_t oldestFirst(std::int64_t time);

private:
    std::unique_ptr<NMost> nMost;  // until finish()
};

#pragma once

#include <string>

#include <gtest/gtest.h>

#include "Probe/Filesystem.h"
#include "Scan/Accumulator.h"
#include "Scan/CuStatResults.h"
#include "Scan/FileAttributes.h"
#include "Scan/unix/ScannerUnix.h"

/// What an accumulator is fed with and what it gives: a walk of the file system 7 that began
/// at the epoch, for the statistic 200.
class AccumTest : public testing::Test {
protected:
    AccumTest() {
        filesystem.fsID = 7;
        results.srID = 200;
        scanner.setFileTypeMap(&fileTypes);
    }

    static FileAttributes file(const std::string& name, std::int64_t blocks,
                               std::int32_t type = FA_FILE) {
        FileAttributes attributes;
        attributes.faName = name;
        attributes.faBlocks = blocks;
        attributes.faType = type;
        return attributes;
    }

    void meet(Accumulator& accum, FileAttributes attributes) {
        accum.accumulate(&scanner, &attributes);
    }

    /// The names of a list, joined with blanks.
    template <class T, T* T::*next>
    static std::string names(const RecordList<T, next>& list) {
        std::string text;
        for (const T* member = list.head(); member; member = member->*next)
            text += (text.empty() ? "" : " ") + member->faName;
        return text;
    }

    Filesystem filesystem;
    FileTypeMap fileTypes;
    CuStatResults results;
    ScannerUnix scanner{&filesystem, {}, {}, nullptr, nullptr, "", 0};
};

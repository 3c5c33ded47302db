#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "Common/Object.h"

class GenericPrint;

/// An extension of file names, which all statistics of a scan refer to.
class FileType : public Object {
public:
    explicit FileType(std::string extension)
        : Object("FileType"), ftpFileExtension(std::move(extension)) {}

    static void printHeader(GenericPrint& out);
    void printData(GenericPrint& out) const;

    std::int32_t fptID = 0;
    std::string ftpFileExtension;  // in lower case, with its dot
    std::string ftpDescription;    // empty on this platform
};

/// The file types of a scan by extension.
using FileTypeMap = std::map<std::string, std::unique_ptr<FileType>>;

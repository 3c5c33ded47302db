#pragma once

#include "Common/Object.h"

class FileAttributes;
class Scanner;

/// What a walker calls. Each action of a walk has a filter: it hears of the entries that
/// the filter selects, and of every directory that is entered and left.
class FileAction : public Object {
public:
    using Object::Object;

    virtual void actUpon(Scanner* pScanner, FileAttributes* pInfo) = 0;
    virtual void directoryEntered(FileAttributes* pDirInfo) = 0;
    virtual void directoryLeft() = 0;
};

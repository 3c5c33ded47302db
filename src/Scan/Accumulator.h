#pragma once

#include "Common/ListElement.h"

class CuStatResults;
class FileAttributes;
class Scanner;

/// A sink of a statistic: takes in entries during a walk and hands over what it found at
/// the end. Sinks do not fail: a null argument is traced and ignored.
class Accumulator : public ListElement {
public:
    using ListElement::ListElement;

    /// Takes in one entry. Copies it if it is to be kept.
    virtual void accumulate(Scanner* pScanner, FileAttributes* pInfo) = 0;

    /// The walk is over: moves what was found to `results` and frees the working memory.
    virtual void finish(CuStatResults* results) = 0;

protected:
    /// Traces that an argument is missing.
    static void traceNullArgument(const char* names);
};

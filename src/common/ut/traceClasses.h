#pragma once

#include <string>

/// A trace class: a name for the byte that call sites test. A null name ends a table.
struct TraceClass {
    const char* name;
    unsigned char* flag;
};

/// Names that stand for several classes or aggregates, separated by blanks; a "-" before a
/// word turns it off. A null name ends a table.
struct TraceAggregate {
    const char* name;
    const char* classes;
};

// What a line of the trace begins with. Bytes like all classes.
extern unsigned char trPid;
extern unsigned char trTid;
extern unsigned char trTimeStamp;
extern unsigned char trPrefix;      // source file and line
extern unsigned char trClientType;  // number of the program

// Classes of the foundation's own lines.
extern unsigned char trNls;        // messages and their caches
extern unsigned char trThread;     // threads; also the header line where the thread changes
extern unsigned char trMemory;     // calls of the pool, which then walks all blocks each time
extern unsigned char trMemdetail;  // a check of the whole pool after each call

/// The classes of the foundation that this program's code tests, and their aggregates.
extern const TraceClass kFoundationClasses[];
extern const TraceAggregate kFoundationAggregates[];

/// Turns classes on, or off behind a "-", by the words of `names`, in any case. "ALL" is
/// every class of the table. The first call of all turns on PREFIX and TIMESTAMP too.
/// Returns 0; or -1 for an unknown word, which is told on standard output unless `quiet`.
/// Call it before a second thread exists. Keeps errno.
[[nodiscard]] int trSetFlags(const std::string& names, bool quiet, const TraceClass* classes,
                             const TraceAggregate* aggregates);

/// Turns all classes of a table off.
void trClearFlags(const TraceClass* classes);

#include "common/thrd/TransErrno.h"

#include <cstddef>
#include <cstring>

#include "common/ut/TraceScope.h"

namespace {

constexpr int kTableSize = 171;  // errno values that can have a code of their own
constexpr int kOutOfMemory = 102;
constexpr int kNoSuchFile = 104;
constexpr int kUnknown = 106;
constexpr int kBadArgument = 109;
constexpr int kUnmappedOther = 114;
constexpr int kUnmapped = 131;
constexpr int kDeadlock = 936;

struct Mapping {
    int error;
    int code;
};

constexpr Mapping kCodes[] = {
    {0,  0           },
    {2,  kNoSuchFile }, // ENOENT
    {12, kOutOfMemory}, // ENOMEM
    {22, kBadArgument}, // EINVAL
    {35, kDeadlock   }, // EDEADLK
};

/// Meant: these numbers are fixed, also where errno means something else by them.
constexpr Mapping kTransferCodes[] = {
    {2,   kNoSuchFile},
    {9,   kNoSuchFile},
    {29,  815        },
    {103, 816        },
};

template <std::size_t N>
const Mapping* find(const Mapping (&codes)[N], int error) {
    for (const Mapping& entry : codes) {
        if (entry.error == error)
            return &entry;
    }
    return nullptr;
}

}  // namespace

int TransErrno(int error, const char* call) {
    FoundationScope scope("TransErrno");
    const bool transfer = std::strcmp(call, "read") == 0 || std::strcmp(call, "write") == 0;
    const Mapping* entry = transfer ? find(kTransferCodes, error) : nullptr;
    if (!entry)
        entry = find(kCodes, error);
    if (entry) {
        trTrace(naMid, "TransErrno: Received error from %s, errno = %d, rc = %d\n", call, error,
                entry->code);
        return entry->code;
    }
    if (error < 0 || error >= kTableSize)
        trError("TransErrno: Larger than errno in %s, errno = %d\n", call, error);
    else
        trError("TransErrno: Unexpected error from %s, errno = %d\n", call, error);
    return kUnmapped;
}

int TransErrnoKnown(int error, const char* call, int remappedError, int remappedCode) {
    FoundationScope scope("TransErrnoKnown");
    const int code = TransErrno(error, call);
    if (code != kUnmapped && code != kUnmappedOther)
        return code;
    if (error == remappedError) {
        trTrace(naMin, "TransErrno(): Remapped specific error code = %d from RC %d to RC %d\n",
                error, code, remappedCode);
        return remappedCode;
    }
    trTrace(naMin, "TransErrno(): Remapped RC %d to RC %d (unknown error code = %d)\n", code,
            kUnknown, error);
    return kUnknown;
}

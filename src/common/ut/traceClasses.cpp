#include "common/ut/traceClasses.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <sstream>
#include <strings.h>

#include "common/ut/trace.h"

unsigned char trPid = 0;
unsigned char trTid = 0;
unsigned char trTimeStamp = 0;
unsigned char trPrefix = 0;
unsigned char trClientType = 0;
unsigned char trNls = 0;
unsigned char trThread = 0;
unsigned char trMemory = 0;
unsigned char trMemdetail = 0;

namespace {

constexpr int kMaxNesting = 16;  // of aggregates in aggregates

// Tested by no code of this program; aggregates of the foundation name them.
unsigned char traceDirops = 0;
unsigned char traceFileops = 0;
unsigned char traceFioattribs = 0;
unsigned char traceConfig = 0;
unsigned char traceStats = 0;
unsigned char traceThreadStatus = 0;
unsigned char traceInstrument = 0;
unsigned char traceErrorFlag = 0;

void setAll(const TraceClass* classes, unsigned char value) {
    for (; classes->name; ++classes)
        *classes->flag = value;
}

/// One word, without its "-"; false if it is unknown.
bool setWord(const std::string& word, bool on, const TraceClass* classes,
             const TraceAggregate* aggregates, int nesting) {
    if (word == "ALL") {
        setAll(classes, on ? 1 : 0);
        return true;
    }
    for (const TraceAggregate* entry = aggregates; entry->name; ++entry) {
        if (word != entry->name || nesting == kMaxNesting)
            continue;
        std::istringstream words(entry->classes);
        bool known = true;
        for (std::string member; words >> member;) {
            const bool off = member.starts_with('-');
            known &= setWord(member.substr(off ? 1 : 0), on != off, classes, aggregates,
                             nesting + 1);
        }
        return known;
    }
    for (; classes->name; ++classes) {
        if (word == classes->name) {
            *classes->flag = on ? 1 : 0;
            return true;
        }
    }
    return false;
}

}  // namespace

const TraceClass kFoundationClasses[] = {
    {"ERROR",         &traceErrorFlag   },
    {"ENTER",         &trEnterClass     },
    {"EXIT",          &trExitClass      },
    {"PID",           &trPid            },
    {"TID",           &trTid            },
    {"TIMESTAMP",     &trTimeStamp      },
    {"PREFIX",        &trPrefix         },
    {"CLIENTTYPE",    &trClientType     },
    {"MEMORY",        &trMemory         },
    {"MEMDETAIL",     &trMemdetail      },
    {"NLS",           &trNls            },
    {"THREAD",        &trThread         },
    {"THREAD_STATUS", &traceThreadStatus},
    {"INSTRUMENT",    &traceInstrument  },
    {"DIROPS",        &traceDirops      },
    {"FILEOPS",       &traceFileops     },
    {"FIOATTRIBS",    &traceFioattribs  },
    {"CONFIG",        &traceConfig      },
    {"STATS",         &traceStats       },
    {nullptr,         nullptr           },
};

const TraceAggregate kFoundationAggregates[] = {
    {"ALL_FILE", "DIROPS FILEOPS FIOATTRIBS"},
    {"PERFORM",  "CONFIG STATS"             },
    {nullptr,    nullptr                    },
};

int trSetFlags(const std::string& names, bool quiet, const TraceClass* classes,
               const TraceAggregate* aggregates) {
    static bool firstCall = true;
    const int keptErrno = errno;
    if (firstCall)
        trPrefix = trTimeStamp = 1;
    firstCall = false;

    int rc = 0;
    std::istringstream words(names);
    for (std::string word; rc == 0 && words >> word;) {
        std::transform(word.begin(), word.end(), word.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        const bool off = word.starts_with('-');
        if (setWord(word.substr(off ? 1 : 0), !off, classes, aggregates, 0))
            continue;
        if (!quiet)
            std::printf("Invalid trace flag: %s\n", word.c_str());
        rc = -1;
    }
    errno = keptErrno;
    return rc;
}

void trClearFlags(const TraceClass* classes) {
    setAll(classes, 0);
}

#include "Scan/ResultHeader.h"

#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "Probe/Domain.h"
#include "Probe/Filesystem.h"
#include "Probe/LdapTree.h"
#include "Scan/CuStatDef.h"
#include "Scan/CuStatResults.h"
#include "Scan/FileScoreRule.h"
#include "Scan/MonDirSpec.h"
#include "Scan/SFileCandidate.h"
#include "Scan/SMonDir.h"
#include "Scan/UserOrGroup.h"
#include "common/ut/TraceScope.h"

namespace {

struct HeaderEntry {
    const char* type;
    void (*printHeader)(GenericPrint& out);  // null for a type without columns
};

constexpr HeaderEntry kEntriesBehindAgentScan[] = {
    {entity::CuStatDef,       CuStatDef::printHeader      },
    {entity::CuStatResults,   CuStatResults::printHeader  },
    {entity::Filesystem,      Filesystem::printHeader     },
    {entity::FileType,        FileType::printHeader       },
    {entity::FileTypeSummary, FileTypeSummary::printHeader},
    {entity::MonDirSpec,      MonDirSpec::printHeader     },
    {entity::ResultsByFS,     nullptr                     },
    {entity::SDirectory,      SDirectory::printHeader     },
    {entity::SFile,           SFile::printHeader          },
    {entity::SMonDir,         SMonDir::printHeader        },
    {entity::SSizeDist,       SSizeDist::printHeader      },
    {entity::SSummary,        SSummary::printHeader       },
    {entity::STimeDist,       STimeDist::printHeader      },
    {entity::SUGHist,         SUGHist::printHeader        },
    {entity::SUserOrGroup,    SUserOrGroup::printHeader   },
    {entity::FileScoreRule,   FileScoreRule::printHeader  },
    {entity::SFileCandidate,  SFileCandidate::printHeader },
    {entity::UserOrGroup,     UserOrGroup::printHeader    },
    {entity::Domain,          Domain::printHeader         },
    {entity::LdapTree,        LdapTree::printHeader       },
};

}  // namespace

void printResultHeader(GenericPrint& out, const Row& agentScanColumns) {
    TraceScope scope("printResultHeader");
    out.startEntity(entity::Header);
    out.startEntity(entity::AgentScan);
    out.headerRow(agentScanColumns);
    for (const HeaderEntry& entry : kEntriesBehindAgentScan) {
        // The types of this block have no end lines.
        out.startEntity(entry.type);
        if (entry.printHeader)
            entry.printHeader(out);
    }
    out.endEntity(entity::Header);
}

/// The arrangement of a request: the order of its file systems, and which monitored
/// directories lie on which file system.

#include <algorithm>
#include <cctype>
#include <map>
#include <utility>

#include "Common/GenericException.h"
#include "Common/Messages.h"
#include "Probe/Filesystem.h"
#include "Scan/AgentScan.h"
#include "Scan/FilesystemScan.h"
#include "Scan/MonDirSpec.h"
#include "common/ut/TraceScope.h"

namespace {

char upper(char c) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

/// True if both texts have the same first `length` characters, in any case.
bool regionMatches(const std::string& left, const std::string& right, std::size_t length) {
    return left.size() >= length && right.size() >= length &&
           std::equal(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(length),
                      right.begin(), [](char a, char b) { return upper(a) == upper(b); });
}

void replaceAll(std::string& text, const std::string& from, char to) {
    for (std::size_t hit = text.find(from); hit != std::string::npos;
         hit = text.find(from, hit + 1))
        text.replace(hit, from.size(), 1, to);
}

/// A path without the escapes of masks.
std::string withoutEscapes(const std::string& path) {
    std::string text;
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (path[i] == '&' && ++i == path.size())
            break;
        text += path[i];
    }
    return text;
}

/// Stands in for the tree of all filers that have none.
std::shared_ptr<LdapTree> treeOfTheTreeless() {
    TraceScope scope("treeOfTheTreeless");
    auto tree = std::make_shared<LdapTree>();
    tree->ltLdapUser = tree->ltPassword = "-";
    return tree;
}

bool compareFilesystemsByID(const Filesystem* left, const Filesystem* right) {
    if (!left || !right) {
        trTrace(naMin,
                "FilesystemScan::compareFilesystemsByID() : ERROR: At least one of the given "
                "filesystem ID references is NULL. Leaving method.");
        return false;
    }
    return left->fsID < right->fsID;
}

/// Links the members in their order; returns the head.
Filesystem* linked(const std::vector<Filesystem*>& members) {
    Filesystem* head = nullptr;
    for (auto member = members.rbegin(); member != members.rend(); ++member) {
        (*member)->next = head;
        head = *member;
    }
    return head;
}

}  // namespace

Filesystem* FilesystemScan::arrangeFilesystems(Filesystem* head) {
    TraceScope scope("FilesystemScan::arrangeFilesystems");
    if (!head)
        trTrace(naMin, "parameter <pFSList> is NULL.");

    Filesystem* arranged = nullptr;
    Filesystem** end = &arranged;
    std::map<std::int32_t, NasFiler*> filersOfTree;  // by the computer of their tree
    std::shared_ptr<LdapTree> placeholder;
    while (head) {
        Filesystem* const member = head;
        head = std::exchange(member->next, nullptr);
        NasFiler* filer = member->filer.get();
        if (!filer) {
            *end = member;
            end = &member->next;
            continue;
        }
        if (!filer->tree)
            filer->tree = placeholder = placeholder ? placeholder : treeOfTheTreeless();
        const auto [filers, isNew] = filersOfTree.try_emplace(filer->tree->ltComputerID, filer);
        filer = isNew ? filer : maybeAddToList(filers->second, filer);
        member->next = filer->filesystems;
        filer->filesystems = member;
    }
    for (const auto& [computer, filers] : filersOfTree) {
        for (NasFiler* filer = filers; filer; filer = std::exchange(filer->next, nullptr)) {
            *end = std::exchange(filer->filesystems, nullptr);
            while (*end)
                end = &(*end)->next;
        }
    }
    return arranged;
}

NasFiler* FilesystemScan::maybeAddToList(NasFiler* pHead, NasFiler* pToAdd) {
    TraceScope scope("FilesystemScan::maybeAddToList");
    if (!pHead || !pToAdd) {
        static constexpr char kComplaint[] =
            "one of the parameters <pHead> or <pToAdd> is NULL.";
        trTrace(naMin, kComplaint);
        throwGenericException(VEX_NO_PATH, static_cast<std::uint32_t>(message::STA0028I.number),
                              kComplaint, "");
    }
    NasFiler* member = pHead;
    while (member->nfComputerID != pToAdd->nfComputerID) {
        if (!member->next)
            member->next = pToAdd;
        member = member->next;
    }
    return member;
}

void FilesystemScan::sortFilesystemsByID(AgentScan* request) {
    TraceScope scope("FilesystemScan::sortFilesystemsByID");
    std::vector<Filesystem*> members;
    for (Filesystem* member = request->getFilesystems(); member; member = member->next)
        members.push_back(member);
    if (members.empty())
        return;
    std::stable_sort(members.begin(), members.end(), compareFilesystemsByID);
    request->setFilesystems(linked(members));
}

bool FilesystemScan::maskedPath(MonDirSpec* dirSpec) {
    TraceScope scope("FilesystemScan::maskedPath");
    const std::string& path = dirSpec->getMdsPath();
    const std::size_t slash = path.find('/');
    bool masked = false;
    for (std::size_t i = slash == std::string::npos ? 0 : slash + 1; i < path.size() && !masked;
         ++i) {
        if (path[i] == '&')
            ++i;  // the next character stands for itself
        else
            masked = path[i] == '*' || path[i] == '?' || path[i] == '[';
    }
    dirSpec->setMdsMaskedPath(masked);
    return masked;
}

FilesystemScan::Slashes FilesystemScan::findSlashes(const std::string& path) {
    TraceScope scope("FilesystemScan::findSlashes");
    Slashes found;
    found.length = path.ends_with('/') ? path.size() - 1 : path.size();
    for (std::size_t i = 0; i < found.length; ++i) {
        if (path[i] == '/') {
            found.start = i + 1;
            found.count += 1;
        }
    }
    return found;
}

std::string FilesystemScan::normalisedPath(std::string path) {
    TraceScope scope("FilesystemScan::normalisedPath");
    replaceAll(path, R"(\\)", '/');
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

std::int32_t FilesystemScan::depthBelow(const std::string& root, const MonDirSpec& dirSpec) {
    TraceScope scope("FilesystemScan::depthBelow");
    const std::string directory = withoutEscapes(dirSpec.getMdsPath());
    const Slashes rootSlashes = findSlashes(root);
    const Slashes slashes = findSlashes(directory);
    const std::int32_t depth = slashes.count - rootSlashes.count;
    if (depth < 0)
        return -1;

    std::size_t compared = rootSlashes.length + 1;
    if (depth == 0 && dirSpec.getMdsMaskedPath()) {
        compared = rootSlashes.start;
        if (slashes.start != compared)
            return -1;
    } else if (depth == 0) {
        compared = rootSlashes.length;
        if (slashes.length != compared)
            return -1;
    }
    return regionMatches(root, directory, compared) ? depth : -1;
}

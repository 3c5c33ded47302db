#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Scan/FileAction.h"
#include "Scan/FileAttributes.h"

/// Writes down the calls of a walk as short texts: "act 3 /x" with the type of the entry,
/// "enter /x", "left".
class RecordingAction : public FileAction {
public:
    RecordingAction() noexcept : FileAction("RecordingAction") {}

    void actUpon(Scanner* /*pScanner*/, FileAttributes* pInfo) override {
        calls.push_back("act " + std::to_string(pInfo->faType) + " " + pInfo->faName);
        seen.insert_or_assign(pInfo->faName, *pInfo);
        if (onAct)
            onAct(pInfo->faName);
    }
    void directoryEntered(FileAttributes* pDirInfo) override {
        calls.push_back("enter " + pDirInfo->faName);
    }
    void directoryLeft() override { calls.emplace_back("left"); }

    /// The calls in their order.
    [[nodiscard]] std::string story() const {
        std::string text;
        for (const std::string& call : calls)
            text += (text.empty() ? "" : ", ") + call;
        return text;
    }

    /// The paths of the entries that were acted upon, in the order of their texts.
    [[nodiscard]] std::string paths() const {
        std::string text;
        for (const auto& [path, attributes] : seen)
            text += (text.empty() ? "" : " ") + path;
        return text;
    }

    std::vector<std::string> calls;
    std::map<std::string, FileAttributes> seen;     // by path
    std::function<void(const std::string&)> onAct;  // told the path; may be empty
};

#pragma once

#include <functional>
#include <map>
#include <string>

#include "Scan/FileAction.h"
#include "Scan/FileAttributes.h"

/// Writes down the calls of a walk: "act 3 /x" (3 is the type), "enter /x", "left".
class RecordingAction : public FileAction {
public:
    RecordingAction() noexcept : FileAction("RecordingAction") {}

    void actUpon(Scanner* /*pScanner*/, FileAttributes* pInfo) override {
        note("act " + std::to_string(pInfo->faType) + " " + pInfo->faName);
        seen.insert_or_assign(pInfo->faName, *pInfo);
        onAct(pInfo->faName);
    }
    void directoryEntered(FileAttributes* pDirInfo) override {
        note("enter " + pDirInfo->faName);
    }
    void directoryLeft() override { note("left"); }

    /// The paths of the entries that were acted upon, sorted.
    [[nodiscard]] std::string paths() const {
        std::string text;
        for (const auto& [path, attributes] : seen)
            text += (text.empty() ? "" : " ") + path;
        return text;
    }

    std::string story;                           // the calls, in their order
    std::map<std::string, FileAttributes> seen;  // by path
    std::function<void(const std::string&)> onAct = [](auto& /*path*/) {};

private:
    void note(const std::string& call) { story += (story.empty() ? "" : ", ") + call; }
};

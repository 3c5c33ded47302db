#pragma once

#include <nl_types.h>
#include <string>
#include <vector>

/// An open message catalog of the system (catopen(3), catgets(3)); set 1 is read.
class MessageCatalog {
public:
    MessageCatalog() = default;
    ~MessageCatalog() { close(); }
    MessageCatalog(const MessageCatalog&) = delete;
    MessageCatalog& operator=(const MessageCatalog&) = delete;

    /// Opens `directory`/`language`/`file`, or that of the language's common name ("de_DE"
    /// for "de", what stands before a "."), or `file` where the system looks for catalogs:
    /// there other products keep theirs, so one is taken only if it has a message of each
    /// number of `probes`. Returns 0; or 2 if there is none, with the path of the common
    /// name in `langPath`.
    [[nodiscard]] int openCat(const std::string& directory, const std::string& language,
                              const std::string& file, const std::vector<int>& probes,
                              std::string& langPath);

    void close() noexcept;

    [[nodiscard]] bool isOpen() const noexcept { return open; }

    /// The text of message `number`, `missing` itself if there is none. Valid until
    /// close().
    [[nodiscard]] const char* text(int number, const char* missing) const;

private:
    bool tryOpen(const std::string& path);
    [[nodiscard]] bool hasMessages(const std::vector<int>& numbers) const;

    bool open = false;
    nl_catd catalog = nullptr;  // valid while open
};

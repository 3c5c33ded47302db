#include "common/nls/MessageCatalog.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "common/nls/messageRecord.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr int kMessageSet = 1;
constexpr int kNotFound = 2;
constexpr std::size_t kMaxPath = 1280;  // characters

struct LanguageName {
    const char* name;
    const char* full;
};

constexpr LanguageName kLanguages[] = {
    {"Ja", "Ja_JP"},
    {"Zh", "Zh_CN"},
    {"de", "de_DE"},
    {"en", "en_US"},
    {"es", "es_ES"},
    {"fr", "fr_FR"},
    {"it", "it_IT"},
    {"ja", "ja_JP"},
    {"ko", "ko_KR"},
    {"pt", "pt_BR"},
    {"zh", "zh_CN"},
};

/// The name under which catalogs of the language are kept.
std::string commonName(const std::string& language) {
    if (language == "zh_TW.BIG5")
        return "Zh_TW";
    std::string name = language.substr(0, language.find('.'));
    if (name.size() != 2)
        return name;
    for (const LanguageName& entry : kLanguages) {
        if (name == entry.name)
            return entry.full;
    }
    trTrace(naMin, "Language specification \"%s\" not found, substituting US English\n",
            name.c_str());
    return "en_US";
}

}  // namespace

int MessageCatalog::openCat(const std::string& directory, const std::string& language,
                            const std::string& file, const std::vector<int>& probes,
                            std::string& langPath) {
    FoundationScope scope("MessageCatalog::openCat");
    close();
    const std::string name = file.empty() ? "kelclientV3.cat" : file;
    if (directory.size() + language.size() + name.size() + 2 >= kMaxPath) {
        trTrace(naMin, "openCat(): The passed arguments are too long\n");
        return kNotFound;
    }
    // The program's own catalogs first: an environment may name others of the same file name.
    const std::string path = directory + "/" + commonName(language) + "/" + name;
    if (tryOpen(directory + "/" + language + "/" + name) || tryOpen(path))
        return 0;
    if (tryOpen(name) && hasMessages(probes))
        return 0;
    close();
    langPath = path;
    return kNotFound;
}

void MessageCatalog::close() noexcept {
    if (open)
        catclose(catalog);
    open = false;
}

const char* MessageCatalog::text(int number, const char* missing) const {
    if (!open)
        return missing;
    const char* const found = catgets(catalog, kMessageSet, number, missing);
    return std::strcmp(found, missing) == 0 ? missing : found;
}

bool MessageCatalog::tryOpen(const std::string& path) {
    catalog = catopen(path.c_str(), NL_CAT_LOCALE);
    open = reinterpret_cast<std::intptr_t>(catalog) != -1;
    return open;
}

bool MessageCatalog::hasMessages(const std::vector<int>& numbers) const {
    static constexpr char kNone[] = "";
    return std::all_of(numbers.begin(), numbers.end(), [this](int number) {
        NLSMsg message;
        const char* const entry = text(number, kNone);
        return entry != kNone && decodeMessage(entry, number, message) == Decoded::MESSAGE;
    });
}

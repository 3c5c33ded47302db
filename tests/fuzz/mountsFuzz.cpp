#include <set>
#include <sstream>

#include "Probe/Mounts.h"
#include "fuzz/fuzz.h"
#include "support/TempTree.h"

namespace {

/// Undoes the escapes of a field of a mount table.
std::string plain(const std::string& field) {
    static constexpr std::pair<std::string_view, char> kEscapes[] = {
        {"\\040", ' ' },
        {"\\011", '\t'},
        {"\\012", '\n'},
        {"\\134", '\\'},
        {"\\\\",  '\\'}
    };
    std::string text;
    for (std::size_t i = 0; i < field.size(); ++i) {
        text += field[i];
        for (const auto& [escape, byte] : kEscapes) {
            if (!field.substr(i).starts_with(escape))
                continue;
            text.back() = byte;
            i += escape.size() - 1;
            break;
        }
    }
    return text;
}

/// The mount points of all lines, by a plain reading.
std::set<std::string> placesIn(const std::string& table) {
    static constexpr char kBlanks[] = " \t";
    std::set<std::string> places;
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t device = line.find_first_not_of(kBlanks);
        const std::size_t place =
            line.find_first_not_of(kBlanks, line.find_first_of(kBlanks, device));
        const std::size_t end = line.find_first_of(kBlanks, place);
        places.insert(place == std::string::npos ? "" : plain(line.substr(place, end - place)));
    }
    return places;
}

}  // namespace

/// A mount table: no row tells of a place that no line names whole.
void fuzz(const std::string& input) {
    static const TempTree tree;
    std::string table = input;
    std::erase(table, '\0');  // which the kernel never writes
    tree.write("mtab", table);
    const std::set<std::string> places = placesIn(table);
    Mounts row(tree.path("mtab"));
    require(row.openMnttab(), "the table opens");
    while (row.nextMount()) {
        require(places.contains(row.mountPoint), "a place is whole");
        require(!row.type.empty(), "a row has a type");
    }
}

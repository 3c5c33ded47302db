#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class MonDirSpec;
class RecordPacker;
class RecordUnpacker;

/// The MonDirSpecs that matched a monitored directory, and those that matched again inside it,
/// in the order of their matches.
///
/// A mask can match millions of directories inside, and mostly the same specs match each of
/// them. So the matches are divided into rounds, in which no spec stands twice, and a round
/// that repeats is counted. Should a directory see more than kMostRounds different ones in
/// turn, the specs of the others are counted each by itself: nothing that matches takes memory
/// for each match, and their order is lost only then.
class SpecMatches {
public:
    static constexpr std::size_t kMostRounds = 256;

    /// A spec matches once more. `spec` must outlive this.
    void add(const MonDirSpec* spec);

    /// Calls `visit` with the spec of each match.
    template <class Visit>
    void forEach(const Visit& visit) const {
        for (const Round& round : allRounds()) {
            for (std::uint64_t i = 0; i < round.times; ++i) {
                for (const MonDirSpec* const spec : round.specs)
                    visit(*spec);
            }
        }
    }

    static void fields(const SpecMatches& self, RecordPacker& pack);
    static void fields(SpecMatches& self, RecordUnpacker& unpack);

private:
    struct Round {
        std::vector<const MonDirSpec*> specs;  // not owned
        std::uint64_t times;
    };

    void endRound();
    void countRest(const MonDirSpec* spec);
    [[nodiscard]] std::vector<Round> allRounds() const;

    std::vector<Round> rounds;             // in their order, no two alike in turn
    std::vector<Round> rest;               // beyond those, a round for each spec
    std::vector<const MonDirSpec*> begun;  // the round that is not complete
};

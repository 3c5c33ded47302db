#include "Scan/SpecMatches.h"

#include <algorithm>

#include "Scan/RecordPacking.h"
#include "common/ut/TraceScope.h"

void SpecMatches::add(const MonDirSpec* spec) {
    TraceScope scope("SpecMatches::add");
    if (std::find(begun.begin(), begun.end(), spec) != begun.end())
        endRound();
    begun.push_back(spec);
}

void SpecMatches::endRound() {
    TraceScope scope("SpecMatches::endRound");
    if (rest.empty() && !rounds.empty() && rounds.back().specs == begun) {
        ++rounds.back().times;
    } else if (rest.empty() && rounds.size() < kMostRounds) {
        rounds.push_back({begun, 1});
    } else {
        for (const MonDirSpec* const spec : begun)
            countRest(spec);
    }
    begun.clear();
}

void SpecMatches::countRest(const MonDirSpec* spec) {
    TraceScope scope("SpecMatches::countRest");
    const auto known = std::find_if(rest.begin(), rest.end(), [spec](const Round& round) {
        return round.specs.front() == spec;
    });
    if (known != rest.end())
        ++known->times;
    else
        rest.push_back({{spec}, 1});
}

std::vector<SpecMatches::Round> SpecMatches::allRounds() const {
    TraceScope scope("SpecMatches::allRounds");
    std::vector<Round> all = rounds;
    all.insert(all.end(), rest.begin(), rest.end());
    if (!begun.empty())
        all.push_back({begun, 1});
    return all;
}

void SpecMatches::fields(const SpecMatches& self, RecordPacker& pack) {
    TraceScope scope("SpecMatches::fields");
    const std::vector<Round> all = self.allRounds();
    pack(all.size());
    for (const Round& round : all) {
        pack(round.times, round.specs.size());
        for (const MonDirSpec* const spec : round.specs)
            pack(spec);
    }
}

void SpecMatches::fields(SpecMatches& self, RecordUnpacker& unpack) {
    TraceScope scope("SpecMatches::fields");
    std::size_t count = 0;
    unpack(count);
    self.rounds.resize(count);
    for (Round& round : self.rounds) {
        unpack(round.times, count);
        round.specs.resize(count);
        for (const MonDirSpec*& spec : round.specs)
            unpack(spec);
    }
}

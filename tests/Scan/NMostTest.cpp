#include <algorithm>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "Scan/NMost.h"

namespace {

struct Named : public Object {
    explicit Named(std::string text) : Object("Named"), name(std::move(text)) {}
    std::string name;
};

bool offer(NMost& nMost, const std::string& name, std::int64_t key) {
    const bool stays = nMost.mustAdd(nullptr, key);
    if (stays)
        nMost.add(std::make_unique<Named>(name));
    return stays;
}

/// The names of the members, the largest first.
std::string held(NMost& nMost) {
    std::string text;
    for (auto& member : nMost.takeMembers())
        text.insert(0, memberAs<Named>(std::move(member))->name + " ");
    return text;
}

}  // namespace

// Against a list that is sorted as a whole at every step.
TEST(NMostTest, AnyStreamLeavesWhatAPlainListLeaves) {
    std::mt19937 random(1);
    for (int length = 1; length <= 40; ++length) {
        NMost nMost(length);
        std::vector<std::pair<std::int64_t, int>> plain;  // key and sequence, ascending
        for (int i = 0; i < 500; ++i) {
            const auto key = static_cast<std::int64_t>(random() % 30) - 15;
            const bool room = static_cast<int>(plain.size()) < length;
            ASSERT_EQ(room || key > plain.front().first, offer(nMost, std::to_string(i), key));
            if (room || key > plain.front().first)
                plain.emplace_back(key, i);
            std::sort(plain.begin(), plain.end());
            if (static_cast<int>(plain.size()) > length)
                plain.erase(plain.begin());
        }
        std::string expected;
        for (const auto& [key, name] : plain)
            expected.insert(0, std::to_string(name) + " ");
        EXPECT_EQ(expected, held(nMost));
    }
}

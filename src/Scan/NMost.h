#pragma once

#include <memory>
#include <vector>

#include "Common/Object.h"
#include "Scan/Orderer.h"

class Accumulator;

/// The N members with the highest keys seen so far.
///
/// A walk offers millions of files and keeps a few, so a caller asks with the key alone and
/// copies the file only if the answer is yes:
///
///     if (nMost->mustAdd(this, key))
///         nMost->add(std::make_unique<SFile>(*pInfo));
///
/// To a full list an entry costs one comparison. Used by the scan thread only.
class NMost : public Object {
public:
    explicit NMost(std::int32_t n) noexcept : Object("NMost"), maxToRetain(n) {}

    /// True if a member with this key would stay. Remembers the key for add().
    [[nodiscard]] bool mustAdd(const Accumulator* caller, std::int64_t key);

    /// Takes in a member under the key of the last mustAdd(), which said yes, and deletes
    /// the smallest member if there are now too many.
    void add(std::unique_ptr<Object> member);

    /// Hands over the members, the smallest first, and is empty then.
    [[nodiscard]] std::vector<std::unique_ptr<Object>> takeMembers();

private:
    struct Member {
        Orderer order;
        std::unique_ptr<Object> object;
    };
    static bool isLarger(const Member& left, const Member& right);

    const std::int32_t maxToRetain;
    std::int64_t nextSequence = 0;  // never reset
    std::int64_t candidateKey = 0;  // of the last mustAdd()
    std::vector<Member> members;    // a heap with the smallest in front
};

/// A member as what it is; null, with the member deleted, if it is something else.
template <class T>
std::unique_ptr<T> memberAs(std::unique_ptr<Object> member) {
    T* const record = dynamic_cast<T*>(member.get());
    if (record)
        static_cast<void>(member.release());
    return std::unique_ptr<T>(record);
}

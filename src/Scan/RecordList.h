#pragma once

#include <memory>
#include <utility>

/// A singly linked list of result records, from the head in `next`. Owns its members.
template <class T, T* T::*next>
class RecordList {
public:
    RecordList() = default;
    ~RecordList() { clear(); }
    RecordList(RecordList&& other) noexcept : first(std::exchange(other.first, nullptr)) {}
    RecordList& operator=(RecordList&& other) noexcept {
        std::swap(first, other.first);
        return *this;
    }
    RecordList(const RecordList&) = delete;
    RecordList& operator=(const RecordList&) = delete;

    /// The first member, null if there is none; the others follow through `next`.
    [[nodiscard]] T* head() const { return first; }

    void pushFront(std::unique_ptr<T> member) {
        member.get()->*next = first;
        first = member.release();
    }

    /// Takes the first member out; null if there is none.
    [[nodiscard]] std::unique_ptr<T> popFront() {
        std::unique_ptr<T> member(first);
        if (member)
            first = std::exchange(member.get()->*next, nullptr);
        return member;
    }

    /// Writes every member, from the head.
    template <class Print>
    void printData(Print& out) const {
        for (const T* member = first; member; member = member->*next)
            member->printData(out);
    }

private:
    void clear() {
        while (first)
            delete std::exchange(first, first->*next);
    }

    T* first = nullptr;  // owned, like what follows it
};

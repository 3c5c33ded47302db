#pragma once

#include <cstddef>
#include <memory>

#include "common/nls/NLSMsg.h"

/// The messages used last, a circular list in the order of their use.
///
/// A lookup walks the list, which is short: a job logs few different messages. Used under
/// the lock of the messages.
class MessageCache {
public:
    MessageCache();
    ~MessageCache();  // deletes the members
    MessageCache(const MessageCache&) = delete;
    MessageCache& operator=(const MessageCache&) = delete;

    /// The message, which becomes the one used last; null if it is not here.
    [[nodiscard]] const NLSMsg* find(int number);

    /// Takes a message in as the one used last. If there are `capacity` members or more,
    /// the one used least recently is deleted before.
    const NLSMsg* add(std::unique_ptr<NLSMsg> message, std::size_t capacity);

    /// Deletes all members.
    void flush();

private:
    void putFirst(NLSMsg* message);
    static void takeOut(NLSMsg* message);

    NLSMsg head;  // of the circle: its `next` was used last, its `prev` least recently
    std::size_t count = 0;
};

#pragma once

/// While it lives one allocation by `new` fails: the one before which `after` others were made
/// by the chosen threads. One object at a time.
class FailingNew {
public:
    enum Threads { OWN, OTHERS };

    FailingNew(Threads threads, long after);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    /// True if it came to that.
    [[nodiscard]] static bool hasFailed();
};

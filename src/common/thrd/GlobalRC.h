#pragma once

/// The worst outcome of the process so far, in three spans: the current step, the current
/// command, the whole process. Graded by the numbers of the messages that are reported:
/// 12 for errors, 8 for warnings, 0 for the rest.
///
/// The record exists between create() and destroy(); at other times set() does nothing
/// and the values are 0. Any thread. Its lock is taken before that of the messages.
class GlobalRC {
public:
    /// How messages are graded and reported; both belong to the layer of messages.
    struct Messages {
        int (*severityOf)(int number);  // severity code, see nlSeverity()
        void (*print)(int number);      // prints without calling set()
    };

    static void create(const Messages& messages);
    static void destroy() noexcept;

    /// Records that the message was reported; true if the code of the step rose.
    static bool set(int number);

    [[nodiscard]] static int get();
    [[nodiscard]] static int getMacroMax();
    [[nodiscard]] static int getMax();

    static void clearRC();       // of the step
    static void clearMacroRC();  // of step and command
    static void clearAllRC();

    /// What a message about the upkeep of logs counts, at least 8; 0 for the default, 12.
    static void setUpkeepLevel(int level);
};

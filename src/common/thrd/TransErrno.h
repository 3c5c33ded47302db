#pragma once

/// The foundation's code for an errno value of the system call `call`.
///
/// 104 no such file, 102 out of memory, 109 bad argument, 936 deadlock; 815 and 816 for
/// pipes of "read" and "write"; 131 where there is no code of its own. Traces what it
/// finds. Keeps errno; any thread.
[[nodiscard]] int TransErrno(int error, const char* call);

/// The same, with 131 turned into 106, "unknown condition", for callers that know no 131;
/// for `remappedError` into `remappedCode` instead.
[[nodiscard]] int TransErrnoKnown(int error, const char* call, int remappedError,
                                  int remappedCode);

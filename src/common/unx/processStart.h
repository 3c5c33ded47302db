#pragma once

/// What a process needs before it opens its first file. Call it once, first of all.
///
/// Standard input, output and error are open afterwards, on /dev/null where the parent
/// left them closed: otherwise a file of the job would take the place of one of them, and
/// a message to standard output would go into it. SIGPIPE, SIGXFSZ, SIGHUP and SIGALRM are
/// ignored; programs that the job starts get their default action back. The limit of open
/// descriptors is at least 256 if the hard limit allows: a walk holds one for each level of its
/// tree. No file that the job makes is writable by others than its owner.
void prepareProcess();

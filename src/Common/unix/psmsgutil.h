#pragma once

#include <string>

/// The file name of the agent's message catalog.
[[nodiscard]] std::string getNaCatalogName();

/// Makes the pool ready and opens the catalogs of the job below `nlsDir`: 0, or 610. The
/// second name of the catalog is the English one; `errorLog` is the log of message failures.
[[nodiscard]] int setupMessages(const std::string& catalog, const std::string& englishCatalog,
                                const std::string& errorLog, const std::string& nlsDir);

/// Opens the trace at `level`, the value of `-debug`, in a file of at most `maxLogSize`
/// kilobytes, in whole megabytes. Without a file name there is no trace, which is no
/// failure. Returns 0, 1 if the file cannot be opened, 30 if the trace cannot be set up.
[[nodiscard]] int setupTrace(const std::string& file, const std::string& level, int maxLogSize);

/// Closes the trace and switches its classes off; harmless if it was not opened.
void closeTrace();

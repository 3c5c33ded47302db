#pragma once

#include <string>

/// The present local time as "YYYY-MM-DD hh:mm:ss".
[[nodiscard]] std::string secondsStamp();

/// The present local time as "YYYY-MM-DD hh:mm:ss.mmm".
[[nodiscard]] std::string millisecondsStamp();

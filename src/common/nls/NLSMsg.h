#pragma once

#include <array>
#include <cstdint>
#include <string>

/// A decoded message, a member of a MessageCache.
struct NLSMsg {
    NLSMsg* next = nullptr;  // not owned; null while in no list
    NLSMsg* prev = nullptr;
    std::uint16_t number = 0;
    std::uint8_t severity = 0;   // code, see messageRecord.h
    std::array<char, 8> tail{};  // what stood behind the marker, at most 6 characters
    std::string text;            // identifier and blank, if it is kept, and the body
};

#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Scan/FileAttributes.h"
#include "Scan/RecordList.h"

/// Results that wait to be written, as bytes. A record has room for all that it may come to
/// hold, and most of it is zero; packed it takes a tenth of its size, or less.
///
/// A class that can be packed names its fields once, for both directions, in
///
///     template <class Self, class Pack>
///     static void fields(Self& self, Pack& pack) { pack(self.one, self.other); }
///
/// Numbers take a byte for each seven bits. Of a pointer the difference to the one before is
/// kept, and of a text what differs from the end of the one before: owners and directories
/// repeat. What is pointed to stays where it is, and must outlive the bytes.
class RecordPacker {
public:
    template <class... Parts>
    void operator()(const Parts&... parts) {
        (pack(parts), ...);
    }

    /// Hands over all that was packed, in as many bytes as it takes.
    [[nodiscard]] std::vector<char> take() {
        bytes.shrink_to_fit();
        return std::move(bytes);
    }

private:
    void packBits(std::uint64_t bits) {
        for (; bits >= 0x80; bits >>= 7U)
            bytes.push_back(static_cast<char>(bits | 0x80U));
        bytes.push_back(static_cast<char>(bits));
    }

    // The sign goes to the lowest bit, so that small negative numbers stay small.
    void pack(const std::integral auto& number) {
        const auto wide = static_cast<std::int64_t>(number);
        packBits(static_cast<std::uint64_t>(wide) << 1U ^
                 static_cast<std::uint64_t>(wide >> 63U));
    }

    template <class T>
    void pack(T* const& pointer) {
        const auto address = reinterpret_cast<std::uintptr_t>(pointer);
        pack(static_cast<std::int64_t>(address - std::exchange(lastAddress, address)));
    }

    void pack(const std::string& text) {
        std::size_t same = 0;
        while (same < text.size() && same < lastText.size() && text[same] == lastText[same])
            ++same;
        packBits(same);
        packBits(text.size() - same);
        bytes.insert(bytes.end(), text.begin() + static_cast<std::ptrdiff_t>(same), text.end());
        lastText = text;
    }

    template <class T, std::size_t n>
    void pack(const std::array<T, n>& members) {
        for (const T& member : members)
            pack(member);
    }

    template <class T>
    void pack(const std::unique_ptr<T>& record) {
        pack(record != nullptr);
        if (record)
            pack(*record);
    }

    template <class T, T* T::*next>
    void pack(const RecordList<T, next>& list) {
        for (const T* member = list.head(); member; member = member->*next) {
            pack(true);
            pack(*member);
        }
        pack(false);
    }

    template <class T>
    requires requires(const T& object, RecordPacker& packer) { T::fields(object, packer); }
    void pack(const T& object) { T::fields(object, *this); }

    std::vector<char> bytes;
    std::uintptr_t lastAddress = 0;
    std::string lastText;
};

/// Reads what a RecordPacker made, into objects of the same types in the same order, which are
/// as new.
class RecordUnpacker {
public:
    /// `packed` must outlive this.
    explicit RecordUnpacker(const std::vector<char>& packed) : next(packed.data()) {}

    template <class... Parts>
    void operator()(Parts&... parts) {
        (unpack(parts), ...);
    }

private:
    [[nodiscard]] std::uint64_t unpackBits() {
        std::uint64_t bits = 0;
        for (unsigned shift = 0;; shift += 7) {
            const auto byte = static_cast<unsigned char>(*next++);
            bits |= std::uint64_t{byte & 0x7FU} << shift;
            if (byte < 0x80)
                return bits;
        }
    }

    template <std::integral T>
    void unpack(T& number) {
        const std::uint64_t bits = unpackBits();
        number = static_cast<T>(bits >> 1U ^ (0 - (bits & 1U)));
    }

    template <class T>
    void unpack(T*& pointer) {
        std::int64_t difference = 0;
        unpack(difference);
        lastAddress += static_cast<std::uintptr_t>(difference);
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the address of an object that lives
        pointer = reinterpret_cast<T*>(lastAddress);
    }

    void unpack(std::string& text) {
        lastText.resize(unpackBits());
        const std::uint64_t length = unpackBits();
        lastText.append(next, length);
        next += length;
        text = lastText;
    }

    template <class T, std::size_t n>
    void unpack(std::array<T, n>& members) {
        for (T& member : members)
            unpack(member);
    }

    template <class T>
    void unpack(std::unique_ptr<T>& record) {
        if (!flag())
            return;
        record = newRecord<T>();
        unpack(*record);
    }

    template <class T, T* T::*link>
    void unpack(RecordList<T, link>& list) {
        RecordList<T, link> reversed;
        while (flag()) {
            std::unique_ptr<T> member = newRecord<T>();
            unpack(*member);
            reversed.pushFront(std::move(member));
        }
        while (std::unique_ptr<T> member = reversed.popFront())
            list.pushFront(std::move(member));
    }

    template <class T>
    requires requires(T& object, RecordUnpacker& unpacker) { T::fields(object, unpacker); }
    void unpack(T& object) { T::fields(object, *this); }

    [[nodiscard]] bool flag() {
        bool value = false;
        unpack(value);
        return value;
    }

    template <class T>
    [[nodiscard]] static std::unique_ptr<T> newRecord() {
        if constexpr (std::is_default_constructible_v<T>)
            return std::make_unique<T>();
        else
            return std::make_unique<T>(FileAttributes());
    }

    const char* next;
    std::uintptr_t lastAddress = 0;
    std::string lastText;
};

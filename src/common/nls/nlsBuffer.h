#pragma once

#include <cstddef>
#include <string_view>

/// A text that grows at its end, in steps of 4 kilobytes. Without memory for a step the
/// text is lost, and later appends do nothing: a message comes out empty, and the job goes
/// on. One thread at a time.
class nlsBuffer {
public:
    virtual ~nlsBuffer();
    nlsBuffer(const nlsBuffer&) = delete;
    nlsBuffer& operator=(const nlsBuffer&) = delete;

    /// Appends bytes.
    virtual void append(std::string_view text) = 0;

    [[nodiscard]] std::size_t capacity() const { return kilobytes; }

protected:
    nlsBuffer();

    /// Room for `need` bytes; false, with nothing left, if there is no memory.
    bool reserve(std::size_t need);

    char* buffer;               // owned; null after memory ran out
    std::size_t kilobytes = 4;  // at least that
    std::size_t used = 0;       // bytes
};

/// Bytes.
class nlsCharBuffer : public nlsBuffer {
public:
    void append(std::string_view text) override;

    [[nodiscard]] const char* getBuffer() const { return buffer; }
    [[nodiscard]] std::size_t length() const { return used; }
};

/// Wide characters; bytes are widened by the locale of the process, those that are no
/// character of it to "_".
class nlsWcharBuffer : public nlsBuffer {
public:
    void append(std::string_view text) override;
    void append(std::wstring_view text);

    [[nodiscard]] std::wstring_view getBuffer() const;
};

#pragma once

/// The closed family of failures that cross function boundaries.
///
/// Each class has one form of being thrown, and handlers name exactly that form:
///
///     GenericException            by pointer; the handler owns it
///     ScanAbortException          by pointer; the job driver owns it
///     VEXIOException              by pointer; the job driver owns it
///     VEXParserException          by value (by pointer at one place of the job driver)
///     VexObjectCreationException  by value
///     LocalizableException        by pointer to std::exception; none is raised here
///
/// The throw functions below are the only places that create and throw them.

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

#include "common/ut/trace.h"

/// Numbers of failures that become the return code of the job.
enum FailureCode : std::int32_t {
    VEX_NO_PATH = 12,          // the path of the definition file is empty
    VEX_OPEN_FAILED = 13,      // the definition file cannot be opened
    VEX_READ_FAILED = 17,      // it ended inside an entity
    VEX_DATA_FAILED = 31,      // a data file cannot be parsed
    VEX_NO_SUCH_HEADER = 321,  // its header block lacks a type
    VEX_COLUMN_COUNT = 325,    // a row and its header differ in length
};

class GenericException {
public:
    /// `msgID` is the catalog number that reports the failure, `cause` and `message` its
    /// two inserts; `message` may be an identifier that handlers compare against.
    GenericException(std::int32_t code, std::uint32_t number, std::string causeText,
                     std::string messageText)
        : errCode(code),
          msgID(number),
          cause(std::move(causeText)),
          message(std::move(messageText)) {}
    virtual ~GenericException() = default;
    GenericException(const GenericException&) = delete;
    GenericException& operator=(const GenericException&) = delete;

    [[nodiscard]] virtual std::int32_t getErrCode() const { return errCode; }
    [[nodiscard]] virtual std::uint32_t getMsgID() const { return msgID; }
    [[nodiscard]] virtual std::string getCause() const { return cause; }
    [[nodiscard]] virtual std::string getMessage() const { return message; }

private:
    std::int32_t errCode;
    std::uint32_t msgID;
    std::string cause;
    std::string message;
};

/// The agent asked the job to stop. Not an error of what is scanned, so it is no
/// GenericException and passes through the handlers of directories.
class ScanAbortException {
public:
    explicit ScanAbortException(std::string text) : message(std::move(text)) {}
    virtual ~ScanAbortException() = default;
    ScanAbortException(const ScanAbortException&) = delete;
    ScanAbortException& operator=(const ScanAbortException&) = delete;

    [[nodiscard]] std::string getMessage() const { return message; }

private:
    std::string message;
};

/// What a directory reader of another platform may raise.
class LocalizableException : public std::exception {};

/// Writing an output file failed.
class VEXIOException {
public:
    VEXIOException() = default;
    VEXIOException(std::string messageText, std::string second)
        : message(std::move(messageText)), secondText(std::move(second)) {}
    virtual ~VEXIOException() = default;
    VEXIOException(const VEXIOException&) = delete;
    VEXIOException& operator=(const VEXIOException&) = delete;

    [[nodiscard]] const std::string& getMessage() const { return message; }
    [[nodiscard]] const std::string& getSecondText() const { return secondText; }
    [[nodiscard]] const std::string& getCause() const { return cause; }
    void setMessage(const std::string& text) { message = text; }
    void setSecondText(const std::string& text) { secondText = text; }
    void setCause(const std::string& text) { cause = text; }

private:
    std::string message;
    std::string secondText;
    std::string cause;
};

/// The definition file cannot be read.
class VEXParserException {
public:
    VEXParserException(std::int32_t code, std::string text)
        : errCode(code), message(std::move(text)) {}

    [[nodiscard]] std::int32_t getErrCode() const { return errCode; }
    [[nodiscard]] const std::string& getMessage() const { return message; }

private:
    std::int32_t errCode;
    std::string message;
};

/// An entity of the definition file does not make an object.
class VexObjectCreationException {
public:
    explicit VexObjectCreationException(std::int32_t code, std::string text = {})
        : errCode(code), message(std::move(text)) {}

    [[nodiscard]] std::int32_t getErrCode() const { return errCode; }
    [[nodiscard]] const std::string& getMessage() const { return message; }

private:
    std::int32_t errCode;
    std::string message;
};

[[noreturn]] void throwGenericException(std::int32_t errCode, std::uint32_t msgID,
                                        const std::string& cause, const std::string& message);
[[noreturn]] void throwScanAbort(const std::string& message);
[[noreturn]] void throwVEXIO(const std::string& cause);
[[noreturn]] void throwVEXParser(std::int32_t errCode, const std::string& message);
[[noreturn]] void throwVEXParserPointer(std::int32_t errCode, const std::string& message);
[[noreturn]] void throwVexObjectCreation(std::int32_t errCode);

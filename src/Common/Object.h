#pragma once

/// Root of most classes of the job: carries the name of its class for the trace.
class Object {
public:
    explicit Object(const char* name) noexcept : className(name) {}
    virtual ~Object() = default;

    [[nodiscard]] const char* getClassName() const noexcept { return className; }

protected:
    Object(const Object&) = default;
    /// The class stays: a record takes over the values of its base alone.
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is assigned
    Object& operator=(const Object& /*other*/) noexcept { return *this; }

private:
    const char* className;  // a string literal
};

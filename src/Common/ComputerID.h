#pragma once

#include <cstdint>
#include <memory>

#include "Common/Object.h"
#include "Common/ParserAPI.h"

class GenericPrint;

/// The identifier of a computer, as the server knows it.
class ComputerID : public Object {
public:
    explicit ComputerID(std::int32_t identifier) noexcept
        : Object("ComputerID"), computerID(identifier) {}

    /// Reads the first row of the entity. One that does not fit is logged and raises
    /// VEXParserException 31 by value.
    [[nodiscard]] static std::unique_ptr<ComputerID> parseData(ParserAPI& parser,
                                                               const ParserAPI::Entity& entity);

    void printData(GenericPrint& out) const;

    [[nodiscard]] std::int32_t get() const noexcept { return computerID; }

    /// The computer that scans; null until the job has started its scan.
    static inline std::unique_ptr<ComputerID> cachedCID;

    /// Its identifier, -1 while there is none.
    static std::int32_t scanning() noexcept { return cachedCID ? cachedCID->get() : -1; }

private:
    std::int32_t computerID;
};

#include "Common/GenericException.h"

#include <memory>

void throwGenericException(std::int32_t errCode, std::uint32_t msgID, const std::string& cause,
                           const std::string& message) {
    throw new GenericException(errCode, msgID, cause, message);
}

void throwScanAbort(const std::string& message) {
    throw new ScanAbortException(message);
}

void throwVEXIO(const std::string& cause) {
    auto exception = std::make_unique<VEXIOException>();
    exception->setCause(cause);
    exception->setMessage("ERROR: writing data to file failed");
    throw exception.release();
}

void throwVEXParser(std::int32_t errCode, const std::string& message) {
    throw VEXParserException(errCode, message);
}

void throwVEXParserPointer(std::int32_t errCode, const std::string& message) {
    throw new VEXParserException(errCode, message);
}

void throwVexObjectCreation(std::int32_t errCode) {
    throw VexObjectCreationException(errCode);
}

#include "scpi_errors.h"

namespace qv::sim {

namespace {
struct ErrorText {
    int code;
    const char* text;
};

constexpr ErrorText kTexts[] = {
    {-100, "Command error"},
    {-101, "Invalid character"},
    {-102, "Syntax error"},
    {-103, "Invalid separator"},
    {-104, "Data type error"},
    {-105, "GET not allowed"},
    {-108, "Parameter not allowed"},
    {-109, "Missing parameter"},
    {-110, "Command header error"},
    {-111, "Header separator error"},
    {-112, "Program mnemonic too long"},
    {-113, "Undefined header"},
    {-114, "Header suffix out of range"},
    {-115, "Unexpected number of parameters"},
    {-120, "Numeric data error"},
    {-121, "Invalid character in number"},
    {-123, "Exponent too large"},
    {-124, "Too many digits"},
    {-128, "Numeric data not allowed"},
    {-130, "Suffix error"},
    {-131, "Invalid suffix"},
    {-134, "Suffix too long"},
    {-138, "Suffix not allowed"},
    {-140, "Character data error"},
    {-141, "Invalid character data"},
    {-144, "Character data too long"},
    {-148, "Character data not allowed"},
    {-150, "String data error"},
    {-151, "Invalid string data"},
    {-158, "String data not allowed"},
    {-160, "Block data error"},
    {-161, "Invalid block data"},
    {-168, "Block data not allowed"},
    {-170, "Expression error"},
    {-171, "Invalid expression"},
    {-178, "Expression data not allowed"},
    {-200, "Execution error"},
    {-220, "Parameter error"},
    {-221, "Settings conflict"},
    {-222, "Data out of range"},
    {-223, "Too much data"},
    {-224, "Illegal parameter value"},
    {-230, "Data corrupt or stale"},
    {-240, "Hardware error"},
    {-250, "Mass storage error"},
    {-251, "Missing mass storage"},
    {-252, "Missing media"},
    {-253, "Corrupt media"},
    {-254, "Media full"},
    {-255, "Directory full"},
    {-256, "File name not found"},
    {-257, "File name error"},
    {-258, "Media protected"},
    {-300, "Device-specific error"},
    {-310, "System error"},
    {-311, "Memory error"},
    {-321, "Out of memory"},
    {-330, "Self-test failed"},
    {-350, "Queue overflow"},
    {-400, "Query error"},
    {-410, "Query INTERRUPTED"},
    {-420, "Query UNTERMINATED"},
    {-430, "Query DEADLOCKED"},
    {-440, "Query UNTERMINATED after indefinite response"},
};
}  // namespace

const char* scpiErrorText(int code) {
    if (code == 0) return "No error";
    for (const auto& e : kTexts)
        if (e.code == code) return e.text;
    return nullptr;
}

std::string scpiErrorTextOrGeneric(int code) {
    if (const char* t = scpiErrorText(code)) return t;
    // Unknown standard codes take the text of their class.
    if (code <= -100 && code > -500) {
        if (const char* t = scpiErrorText(code / 100 * 100)) return t;
    }
    return "Device-specific error";
}

uint8_t esrBitForError(int code) {
    if (code == 0) return 0;
    if (code <= -100 && code > -200) return esr::kCommandError;
    if (code <= -200 && code > -300) return esr::kExecutionError;
    if (code <= -400 && code > -500) return esr::kQueryError;
    // -300 class and every device-defined (positive or other) code.
    return esr::kDeviceError;
}

}  // namespace qv::sim

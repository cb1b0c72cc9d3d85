// Names and descriptions of the published VISA status codes.
#pragma once

#include "visa.h"

#include <string>

namespace qv::visa {

// "VI_ERROR_TMO", "VI_SUCCESS_MAX_CNT", ...; "0x<hex>" for an unknown code.
std::string statusName(ViStatus status);
// The description of the code; unknown codes give
// "Unknown VISA error (0x<HEX>)".
std::string statusText(ViStatus status);
// Upper-case hexadecimal of the code as 8 digits ("BFFF0015").
std::string statusHex(ViStatus status);

}  // namespace qv::visa

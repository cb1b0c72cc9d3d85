#include "app/functions_mask.h"

#include "app/data_folder.h"
#include "app/iniio.h"
#include "app/numeric.h"

namespace qv::app {

std::string VisaDevicesPath() { return dataFolder() + "/VisaDevices.ini"; }

int16_t FunctionsMask(const std::string& visaDevicesIni, std::string_view tag) {
    if (tag.empty()) return 0;
    const Value none(int16_t(0));
    return ToInt16(ReadIni(visaDevicesIni, "FUNCTIONS", std::string(tag), none, none).number());
}

}  // namespace qv::app

// The analyzers' service queries: calibration results, hardware info and
// self-test results. Families without them refuse the headers.
#include <string>

#include "command_table.h"
#include "instrument.h"
#include "scpi_errors.h"

namespace qv::sim {

namespace {

bool offered(CommandContext& c) {
    if (!c.instrument.profile().analyzerUtilities) {
        c.error(err::kUndefinedHeader);
        return false;
    }
    return c.expectParams(0, 0);
}

// The serial number of the identity answer ("100123/007" -> "100123").
std::string serialNumber(const Profile& p) {
    size_t a = p.identity.find(',');
    a = a == std::string::npos ? a : p.identity.find(',', a + 1);
    if (a == std::string::npos) return "100000";
    std::string s = p.identity.substr(a + 1);
    return s.substr(0, s.find_first_of("/,"));
}

void calibrationResults(CommandContext& c) {
    if (!offered(c)) return;
    c.out.append("Total Calibration Status: PASSED,Date (dd/mm/yyyy): 14/03/2024,Time: 09:12:44,"
                 "Runtime: 00.52,IF Gain: PASSED,IF Filter: PASSED,Bandwidth: PASSED,"
                 "Frequency Response: PASSED,Reference Level: PASSED,Log Linearity: PASSED,"
                 "Temperature at calibration: 38.5 C");
}

// Records "name|order number|serial|revision"; the power supply and the
// fan controller carry no data, and two names are longer than 15
// characters, as on the real boards.
void hardwareInfo(CommandContext& c) {
    if (!offered(c)) return;
    const std::string serial = serialNumber(c.instrument.profile());
    c.out.append("RF attenuator|1093.8013.02|" + serial + "|2.1,IF board|1093.7904.02|" + serial +
                 "|3.2,Front end 2 GHz to 7 GHz|1093.8107.03|100987|1.4,Reference oscillator|1093.8213.02|101004|1.0,"
                 "Power supply,Processor board|1091.2520.05|102233|4.7,Fan controller");
}

void selfTestResults(CommandContext& c) {
    if (!offered(c)) return;
    // Before a self-test there is nothing to report: the terminator alone.
    c.emptyAnswer = true;
    if (!c.state.selfTestRan) return;
    c.out.append("Selftest passed,IF filter: passed,Attenuator: passed,Preamplifier: passed,"
                 "Detector: passed,Calibration source: passed,Reference oscillator: passed,"
                 "Supply voltages: passed,Temperature: passed");
}

}  // namespace

std::vector<CommandDef> serviceCommands() {
    return {
        {"CALibration:RESult", nullptr, calibrationResults},
        {"DIAGnostic:SERVice:HWINfo", nullptr, hardwareInfo},
        {"DIAGnostic:SERVice:STESt:RESult", nullptr, selfTestResults},
    };
}

}  // namespace qv::sim

// The main window's instrument search on the instrument directory: the
// master list, VISAScanINI and the record fields the lists show.
#pragma once

#include "app/main_window.h"
#include "instrument_directory/visa_scan.h"

#include <functional>
#include <memory>

namespace qv::ui {

class DirectorySource final : public qv::app::InstrumentSource {
public:
    bool VisaPresent() override;
    void LoadMasterDevices() override;
    std::vector<qv::app::ScanRecord> Scan(const std::string& iniFile, int timeoutMs,
                                          const std::vector<bool>& scanFlags,
                                          const std::vector<bool>& serverFlags) override;
    // The scan object of the last search (myscan), for name look-ups.
    qv::dir::VISAScan* myscan() { return scan_.get(); }
    // Progress of the running scan, 0-100.
    std::function<void(int)> onProgress;
    // Status text of the running scan: the custom name, "@" and the entry.
    std::function<void(const std::string&)> onStatusText;

private:
    std::unique_ptr<qv::dir::VISAScan> scan_;
};

}  // namespace qv::ui

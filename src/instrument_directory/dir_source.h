// The main window's instrument search on the instrument directory: the
// master list, VISAScanINI and the records the lists and windows read.
#pragma once

#include "app/main_window.h"
#include "instrument_directory/visa_scan.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qv::dir {

class DirectorySource final : public qv::app::InstrumentSource {
public:
    // visaPresent tells whether the program runs with VISA; without it the
    // built-in VISA layer counts as present.
    explicit DirectorySource(std::function<bool()> visaPresent = {});

    bool VisaPresent() override;
    void LoadMasterDevices() override;
    std::vector<qv::app::ScanRecord> Scan(const std::string& iniFile, int timeoutMs,
                                          const std::vector<bool>& scanFlags,
                                          const std::vector<bool>& serverFlags) override;
    void SetScanProgress(std::function<void(int)> percent,
                         std::function<void(const std::string&)> status) override;
    bool RecordNames(int listIndex, const std::string& rowResource, std::string& mappedName,
                     std::string& family) const override;

private:
    std::function<bool()> visaPresent_;
    std::function<void(int)> onProgress_;
    std::function<void(const std::string&)> onStatusText_;
    // The scan of the last search (myscan): the records behind the list.
    std::unique_ptr<VISAScan> scan_;
};

}  // namespace qv::dir

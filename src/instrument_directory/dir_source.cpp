#include "instrument_directory/dir_source.h"

#include "instrument_directory/capabilities.h"
#include "instrument_directory/dev_ident.h"

#include <utility>

namespace qv::dir {

DirectorySource::DirectorySource(std::function<bool()> visaPresent) : visaPresent_(std::move(visaPresent)) {}

bool DirectorySource::VisaPresent() { return visaPresent_ ? visaPresent_() : true; }

void DirectorySource::LoadMasterDevices() { LoadMasterList(VisaDevicesPath()); }

void DirectorySource::SetScanProgress(std::function<void(int)> percent,
                                      std::function<void(const std::string&)> status) {
    onProgress_ = std::move(percent);
    onStatusText_ = std::move(status);
}

std::vector<qv::app::ScanRecord> DirectorySource::Scan(const std::string& iniFile, int timeoutMs,
                                                       const std::vector<bool>& scanFlags,
                                                       const std::vector<bool>& serverFlags) {
    scan_ = std::make_unique<VISAScan>();
    // Read at each call: the window may change its hooks while a scan runs.
    scan_->onProgress = [this](int p) {
        if (onProgress_) onProgress_(p);
    };
    scan_->onStatusText = [this](const std::string& t) {
        if (onStatusText_) onStatusText_(t);
    };
    scan_->VISAScanINI(iniFile, timeoutMs, 0, scanFlags, true, serverFlags, true);
    std::vector<qv::app::ScanRecord> out;
    for (int16_t i = 0; i < scan_->DeviceCount(); ++i)
        out.push_back({scan_->DeviceInfo(i), scan_->VISAResString(i), scan_->ComputerName(i), scan_->DeviceTyp(i)});
    return out;
}

bool DirectorySource::RecordNames(int listIndex, const std::string& rowResource, std::string& mappedName,
                                  std::string& family) const {
    if (!scan_) return false;
    const int16_t r = SelectedRecordIndex(*scan_, listIndex, rowResource);
    if (r < 0) return false;
    mappedName = scan_->DeviceMappedName(r);
    family = scan_->DeviceTyp(r);
    return true;
}

}  // namespace qv::dir

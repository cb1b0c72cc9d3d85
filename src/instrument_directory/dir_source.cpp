#include "ui/dir_source.h"

#include "instrument_directory/capabilities.h"
#include "instrument_directory/dev_ident.h"
#include "instrument_io/vif.h"

namespace qv::ui {

bool DirectorySource::VisaPresent() { return qv::io::visaAvailable(); }

void DirectorySource::LoadMasterDevices() { qv::dir::LoadMasterList(qv::dir::VisaDevicesPath()); }

std::vector<qv::app::ScanRecord> DirectorySource::Scan(const std::string& iniFile, int timeoutMs,
                                                       const std::vector<bool>& scanFlags,
                                                       const std::vector<bool>& serverFlags) {
    scan_ = std::make_unique<qv::dir::VISAScan>();
    scan_->onProgress = [this](int p) {
        if (onProgress) onProgress(p);
    };
    scan_->onStatusText = [this](const std::string& t) {
        if (onStatusText) onStatusText(t);
    };
    scan_->VISAScanINI(iniFile, timeoutMs, 0, scanFlags, true, serverFlags, true);
    std::vector<qv::app::ScanRecord> out;
    for (int16_t i = 0; i < scan_->DeviceCount(); ++i)
        out.push_back({scan_->DeviceInfo(i), scan_->VISAResString(i), scan_->ComputerName(i), scan_->DeviceTyp(i)});
    return out;
}

}  // namespace qv::ui

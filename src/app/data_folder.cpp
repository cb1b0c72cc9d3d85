#include "app/data_folder.h"

#include "app/context.h"
#include "app/standard.h"

#include <sys/stat.h>

namespace qv::app {

namespace {

bool holdsData(const std::string& folder) {
    struct stat st{};
    return !folder.empty() && ::stat((folder + "/VisaDevices.ini").c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace

std::string dataFolder() {
    const std::string& program = context().ProgramFolder;
    if (holdsData(program)) return program;
    const std::string exe = ExecutableFolder();
    if (!exe.empty()) {
        if (holdsData(exe + "/../share/quilvane")) return exe + "/../share/quilvane";
        if (holdsData(exe + "/data")) return exe + "/data";
    }
#ifdef QV_SOURCE_DATA_DIR
    if (holdsData(QV_SOURCE_DATA_DIR)) return QV_SOURCE_DATA_DIR;
#endif
    // Nothing found: a path that reads as an empty file, so every table is empty.
    return exe.empty() ? std::string("data") : exe + "/../share/quilvane";
}

}  // namespace qv::app

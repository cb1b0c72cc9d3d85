#include "vif_internal.h"

#include "app/numeric.h"

#include <sys/stat.h>
#include <unistd.h>


namespace qv::io::detail {

long roundHalfEven(double v) { return long(app::ToInt32(v)); }

bool fileExists(const std::string& path) {
    struct stat st {};
    return !path.empty() && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

void removeFile(const std::string& path) {
    if (!path.empty()) unlink(path.c_str());
}

long fileSize(const std::string& path) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) return -1;
    return st.st_size > 0x7FFFFFFF ? 0x7FFFFFFF : long(st.st_size);
}

}  // namespace qv::io::detail

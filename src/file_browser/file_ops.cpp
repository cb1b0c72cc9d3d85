#include "file_browser/file_ops.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <unistd.h>

#include "app/standard.h"
#include "families/registry.h"
#include "instrument_io/vif.h"

namespace qv::file_browser {

namespace fs = std::filesystem;

std::string folderToList(std::string_view path, char separator) {
    std::string folder(path);
    if (!folder.empty() && folder.back() != separator) folder += separator;
    return folder;
}

std::string parentPath(std::string_view path, char separator) {
    if (path.size() < 2) return {};
    size_t cut = path.substr(0, path.size() - 1).rfind(separator);
    if (cut == std::string_view::npos) return {};
    return std::string(path.substr(0, cut + 1));
}

std::string childPath(std::string_view path, std::string_view name, char separator) {
    std::string out(path);
    out += name;
    out += separator;
    return out;
}

std::string startPath(const family::Family& family) {
    if (family.drives.empty()) return {};
    // A family that hands its pictures over as files opens where they are.
    if (family.picturesAsFiles) return std::string(family.startDrive) + "\\USERDATA\\PRINT\\";
    return std::string(family.startDrive) + family.separator;
}

namespace {
std::string quotedCommand(std::string_view head, std::string_view a, std::string_view b = {}) {
    std::string out(head);
    out += " '";
    out += a;
    out += b;
    out += "'";
    return out;
}
}  // namespace

std::string readCommand(const family::Family& family, std::string_view path, std::string_view row) {
    return family.relativeFileNames ? quotedCommand("MMEM:DATA?", row) : quotedCommand("MMEM:DATA?", path, row);
}

std::string makeFolderCommand(const family::Family& family, std::string_view path, std::string_view name) {
    return family.relativeFileNames ? quotedCommand("MMEM:MKD", name) : quotedCommand("MMEM:MDIR", path, name);
}

std::string removeCommand(const family::Family& family, std::string_view path, std::string_view row, bool isDir,
                          bool byKey) {
    if (family.relativeFileNames && !byKey)
        return isDir ? quotedCommand("MMEM:RMD", row) : quotedCommand("MMEM:DEL", row);
    return isDir ? quotedCommand("MMEM:RDIR", path, row) : quotedCommand("MMEM:DEL", path, row);
}

std::string writeHeader(std::string_view path, std::string_view localName) {
    return quotedCommand("MMEM:DATA", path, localName) + ",";
}

FetchNames fetchNames(const family::Family& family, std::string_view path, std::string_view row) {
    FetchNames n;
    n.fullName = std::string(path) + std::string(row);
    size_t sep = n.fullName.rfind(family.separator);
    n.baseName = sep == std::string::npos ? n.fullName : n.fullName.substr(sep + 1);
    size_t dot = n.baseName.find('.');
    if (dot != std::string::npos) n.extension = n.baseName.substr(dot + 1);
    if (family.relativeFileNames) n.fullName = std::string(row);
    return n;
}

std::string temporaryTarget(std::string_view extension) {
    // The extension comes from the instrument: keep it a plain file name part.
    std::string ext;
    for (char c : extension.substr(0, 32)) ext += (c == '/' || c == '\0') ? '_' : c;
    std::error_code ec;
    fs::path dir = fs::temp_directory_path(ec);
    if (ec) dir = "/tmp";
    std::string name = (dir / (ext + "XXXXXX")).string();
    int suffix = 0;
    if (!ext.empty()) {
        name += "." + ext;
        suffix = int(ext.size() + 1);
    }
    int fd = ::mkstemps(name.data(), suffix);
    if (fd < 0) return {};
    ::close(fd);
    return name;
}

FetchResult fetchFile(io::VIF& device, const std::string& command, const std::string& target, int timeoutMs) {
    const bool fetched = app::ReplaceThroughPart(target, [&](const std::string& part) {
        const int32_t before = device.TimeOut();
        device.TimeOut(timeoutMs);
        const bool ok = device.ReadFileFromInstrument(command, part);
        device.TimeOut(before);
        if (!ok) return false;
        // A block of length 0 may leave no file at all.
        std::error_code ec;
        if (fs::exists(part, ec)) return true;
        std::FILE* f = std::fopen(part.c_str(), "wb");
        return f && std::fclose(f) == 0;
    });
    if (!fetched) return FetchResult::Failed;
    std::error_code ec;
    return fs::file_size(target, ec) == 0 ? FetchResult::Empty : FetchResult::Fetched;
}

bool sendFile(io::VIF& device, std::string_view path, const std::string& localFile) {
    const std::string name = fs::path(localFile).filename().string();
    return device.WriteFileToInstrument(writeHeader(path, name), localFile, "");
}

}  // namespace qv::file_browser

#include "app/context.h"

#include "app/standard.h"

namespace qv::app {

AppContext& context() {
    static AppContext ctx;
    return ctx;
}

void SetRowLocators(AppContext& ctx) {
    ctx.ScanList = IniRows{ctx.IniFilePath, "ScanEntries", "Value"};
    ctx.DisplayList = IniRows{ctx.IniFilePath, "DisplayNames", "Name"};
    ctx.ServerFlagList = IniRows{ctx.IniFilePath, "ScanEntriesServers", "Value"};
    ctx.ServerList = IniRows{ctx.IniFilePath, "Servers", "ServerEntry"};
}

std::string ProgramFolderOf(const AppContext& ctx) {
    return ctx.ProgramFolder.empty() ? ExecutableFolder() : ctx.ProgramFolder;
}

}  // namespace qv::app

// MMEMory subsystem: files in the instrument's sandbox.
#include <string>

#include "command_table.h"
#include "instrument.h"
#include "scpi_errors.h"

namespace qv::sim {

namespace {

void dataSet(CommandContext& c) {
    std::string name;
    const BlockData* block = nullptr;
    if (!c.expectParams(2, 2) || !c.stringParam(0, name) || !c.blockParam(1, block)) return;
    if (block->spillFailed) {
        c.error(err::kMediaFull);
        return;
    }
    int e = block->spill ? c.sandbox.moveFileIn(name, *block->spill) : c.sandbox.writeFile(name, block->memory);
    if (e) c.error(e);
}

void dataQuery(CommandContext& c) {
    std::string name;
    if (!c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    std::shared_ptr<const OpenFile> file;
    uint64_t size = 0;
    if (int e = c.sandbox.readFile(name, file, size)) {
        c.error(e);
        return;
    }
    // The file is sent from the open descriptor, never read in whole.
    c.out.appendBlockHeader(size);
    c.out.appendFile(file, 0, size);
}

void catalog(CommandContext& c) {
    std::string name;
    if (!c.expectParams(0, 1)) return;
    if (c.paramCount() == 1 && !c.stringParam(0, name)) return;
    std::vector<CatalogEntry> entries;
    uint64_t freeBytes = 0;
    if (int e = c.sandbox.list(name, entries, freeBytes)) {
        c.error(e);
        return;
    }
    c.out.append(formatCatalog(std::move(entries), freeBytes));
}

void cdirSet(CommandContext& c) {
    std::string name;
    if (!c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    if (int e = c.sandbox.changeDirectory(name)) c.error(e);
}

void cdirQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(quoted(c.sandbox.currentDirectory()));
}

void mdir(CommandContext& c) {
    std::string name;
    if (!c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    if (int e = c.sandbox.makeDirectory(name)) c.error(e);
}

void rdir(CommandContext& c) {
    std::string name;
    if (!c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    if (int e = c.sandbox.removeDirectory(name)) c.error(e);
}

void del(CommandContext& c) {
    std::string name;
    if (!c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    if (int e = c.sandbox.deleteFile(name)) c.error(e);
}

void msisSet(CommandContext& c) {
    std::string name;
    if (!c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    if (int e = c.sandbox.selectDrive(name)) c.error(e);
}

void msisQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(quoted(c.sandbox.currentDrive()));
}

}  // namespace

std::vector<CommandDef> massMemoryCommands() {
    return {
        {"MMEMory:DATA", dataSet, dataQuery},
        {"MMEMory:CATalog", nullptr, catalog},
        {"MMEMory:CDIRectory", cdirSet, cdirQuery},
        {"MMEMory:MDIRectory", mdir, nullptr},
        {"MMEMory:RDIRectory", rdir, nullptr},
        {"MMEMory:DELete", del, nullptr},
        {"MMEMory:MSIS", msisSet, msisQuery},
    };
}

}  // namespace qv::sim

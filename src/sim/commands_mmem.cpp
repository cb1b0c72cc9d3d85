// MMEMory subsystem: files in the instrument's sandbox, and the catalogue
// queries each family answers in its own form (catalog.h). A query a
// family does not have is an undefined header there, as on the real one.
#include <string>

#include "catalog.h"
#include "command_table.h"
#include "instrument.h"
#include "scpi_errors.h"

namespace qv::sim {

namespace {

CatalogForm formOf(const CommandContext& c) { return catalogFormFor(c.instrument.profile().tag); }

// False (with -113) when the family has none of the forms given.
bool familyHas(CommandContext& c, std::initializer_list<CatalogForm> forms) {
    for (CatalogForm f : forms)
        if (formOf(c) == f) return true;
    c.error(err::kUndefinedHeader);
    return false;
}

// The optional folder parameter of a catalogue query; its listing.
bool listFolder(CommandContext& c, Listing& listing) {
    std::string name;
    if (!c.expectParams(0, 1)) return false;
    if (c.paramCount() == 1 && !c.stringParam(0, name)) return false;
    if (formOf(c) == CatalogForm::TwoCatalogs) name = withoutWildcard(name);
    if (int e = c.sandbox.list(name, listing)) {
        c.error(e);
        return false;
    }
    return true;
}

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
    Listing listing;
    if (listFolder(c, listing)) c.out.append(catalogAnswer(formOf(c), listing));
}

void longCatalog(CommandContext& c) {
    Listing listing;
    if (familyHas(c, {CatalogForm::LongCatalog}) && listFolder(c, listing)) c.out.append(longCatalogAnswer(listing));
}

void directoryCatalog(CommandContext& c) {
    Listing listing;
    if (familyHas(c, {CatalogForm::Positional}) && listFolder(c, listing))
        c.out.append(directoryCatalogAnswer(listing));
}

void folderCatalog(CommandContext& c) {
    Listing listing;
    if (familyHas(c, {CatalogForm::FilesAndFolderNames, CatalogForm::TwoCatalogs}) && listFolder(c, listing))
        c.out.append(folderCatalogAnswer(formOf(c), listing));
}

void scan(CommandContext& c) {
    Listing listing;
    if (familyHas(c, {CatalogForm::Scan}) && listFolder(c, listing)) c.out.append(scanAnswer(listing));
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
    std::string name, why;
    if (!c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    if (int e = c.sandbox.removeDirectory(name, why)) c.error(e, why);
}

void mkd(CommandContext& c) {
    if (familyHas(c, {CatalogForm::Scan})) mdir(c);
}

void rmd(CommandContext& c) {
    if (familyHas(c, {CatalogForm::Scan})) rdir(c);
}

void del(CommandContext& c) {
    std::string name;
    if (!c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    if (int e = c.sandbox.deleteFile(name)) c.error(e);
}

void msisSet(CommandContext& c) {
    std::string name;
    if (!c.expectParams(1, 1)) return;
    // The scan families also take the drive as a bare word: MMEM:MSIS INT.
    if (formOf(c) == CatalogForm::Scan && c.unit.params[0].type == Parameter::Type::Character) {
        if (!c.wordParam(0, name)) return;
        name += ':';
    } else if (!c.stringParam(0, name)) {
        return;
    }
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
        {"MMEMory:CATalog:LONG", nullptr, longCatalog},
        {"MMEMory:CATalog:DIRectory", nullptr, directoryCatalog},
        {"MMEMory:DCATalog", nullptr, folderCatalog},
        {"MMEMory:SCAN", nullptr, scan},
        {"MMEMory:CDIRectory", cdirSet, cdirQuery},
        {"MMEMory:MDIRectory", mdir, nullptr},
        {"MMEMory:RDIRectory", rdir, nullptr},
        {"MMEMory:MKD", mkd, nullptr},
        {"MMEMory:RMD", rmd, nullptr},
        {"MMEMory:DELete", del, nullptr},
        {"MMEMory:MSIS", msisSet, msisQuery},
    };
}

}  // namespace qv::sim

// Catalogue answers: each family tells what is in a folder in its own form,
// and a client that knows the family parses exactly that form. The form is
// looked up by family tag (aliases behave as their family); the answers are
// built here from a Listing, without touching the file system.
#pragma once

#include <string>
#include <string_view>

#include "sandbox.h"

namespace qv::sim {

enum class CatalogForm {
    // MMEM:CAT? ['path']: used,free,"SUB,DIR,0","a.txt,,12" with the rows
    // ".,DIR,0","..,DIR,0" below a drive's root. The form of every family
    // not named below.
    Quoted,
    // MMEM:CAT:LONG? 'path' (and MMEM:CAT?) in the quoted form.
    LongCatalog,
    // MMEM:CAT? on the current folder: used,free,SUB,<DIR>,,a.bin,,100.
    DriveTriples,
    // MMEM:CAT? lists files only (quoted); MMEM:DCAT? the folder names,
    // "."  first: ".","SUB1","SUB2".
    FilesAndFolderNames,
    // MMEM:CAT? quoted, folders and files in one name order, with "." and,
    // below a root, "..".
    FoldersFirst,
    // MMEM:CAT? 'path' quoted, "." and ".." always there, sized 1024.
    DotsSized,
    // MMEM:SCAN?: <count>,D,"..","SUB",F,"a.txt"; names relative to the
    // current folder, MMEM:MKD / MMEM:RMD, a drive selected by a bare word.
    Scan,
    // MMEM:DCAT? 'path/*': ".,,0","..,,0","DATA,,0" (folders, no header);
    // MMEM:CAT? 'path/*.*': used,free,"a.csv,,12" (files only).
    TwoCatalogs,
    // MMEM:CAT:DIR?: used,free then seven plain fields per folder;
    // MMEM:CAT?: used,free then nine plain fields per file. Names without a
    // leading separator are taken from the drive's root.
    Positional,
};

CatalogForm catalogFormFor(std::string_view tag);
// The family's names without a leading separator start at the drive root.
bool namesFromDriveRoot(std::string_view tag);

// MMEM:CAT? in the family's form.
std::string catalogAnswer(CatalogForm form, const Listing& listing);
// MMEM:CAT:LONG?.
std::string longCatalogAnswer(const Listing& listing);
// MMEM:DCAT? (FilesAndFolderNames, TwoCatalogs).
std::string folderCatalogAnswer(CatalogForm form, const Listing& listing);
// MMEM:CAT:DIR? (Positional).
std::string directoryCatalogAnswer(const Listing& listing);
// MMEM:SCAN? (Scan).
std::string scanAnswer(const Listing& listing);

// A last path component "*" or "*.*" means the whole folder: it is removed
// (the separator before it stays). Nothing else is a pattern.
std::string withoutWildcard(std::string_view path);

}  // namespace qv::sim

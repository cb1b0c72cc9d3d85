// Scripts: small text files of SCPI lines and downloads that a user runs
// against the selected instrument. This is the engine the script window,
// the timed actions, the command line and the benchmark share; it knows no
// toolkit and talks to the user through the host port.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qv::io {
class VIF;
}

namespace qv::automation {

// One script line prepared for reading: trimmed, cut at "--", tabs made
// four blanks. empty: nothing left. hasColon false: no keyword.
struct ScriptLine {
    bool empty = true;
    bool hasColon = false;
    std::string keyword;  // lower case
    std::string value;
};
ScriptLine PrepareLine(std::string_view raw);

// Splits a file's text into lines; LF and CR LF read alike.
std::vector<std::string> SplitLines(std::string_view text);
// A script file's whole text; false (and text empty) when it cannot be read
// or is far too large for a script.
bool ReadScriptText(const std::string& path, std::string& text);

// One parameter of the grid.
struct ScriptParm {
    std::string name;
    std::string value;
    std::string type;  // "INT", "STRING", "FLOAT" or "FILE"
};
// A `parm` value: "[TYPE:]name[=default]". A type other than INT, STRING,
// FLOAT, FILE (upper case) makes the whole a STRING name ("COUNT:N").
// saveFolder + "/" completes a FILE default that names no folder.
ScriptParm ParseParm(std::string_view declaration, const std::string& saveFolder);

// One listed script.
struct ScriptEntry {
    std::string File;
    std::string Name;
    std::string Instr;  // "TKD,TKM," (comma terminated)
    std::string Desc;   // lines each followed by CR LF
    std::string Parm;   // parm values each followed by CR LF
};
// Element 0 of every list: the fixed introduction, never runnable.
ScriptEntry IntroEntry();
// Reads the listing keywords of a script's text into e (File untouched).
void ReadScriptHeader(std::string_view text, ScriptEntry& e);
// The list of a window: element 0, then the scripts of the first folder,
// then the second (an empty folder name is skipped), each folder in name
// order, "*.txt" in any letter case. A script without a name, or with the
// name of an earlier one, is dropped. unreadable (may be null) gets the
// paths that could not be read; each of them is also told to the user
// through the host ("Script Error"), here and nowhere else.
std::vector<ScriptEntry> FindScripts(const std::string& firstFolder, const std::string& secondFolder,
                                     std::vector<std::string>* unreadable = nullptr);
// "Name (TKD,TKM)"; element 0 by its name alone.
std::string SelectionText(const ScriptEntry& e, bool intro);
// The element named recent; 0 without a match or for an empty name.
int RecentIndex(const std::vector<ScriptEntry>& entries, const std::string& recent);
// The grid rows of a script, in declaration order; a blank declaration
// gives no row.
std::vector<ScriptParm> ScriptParms(const ScriptEntry& e, const std::string& saveFolder);

// The support test: the family tag, or one of its aliases, followed by a
// comma, found in Instr (letter case ignored).
bool ScriptSupports(const ScriptEntry& e, const std::string& devType, const std::vector<std::string>& aliases);
// The aliases of a family from the loaded identity tables.
std::vector<std::string> FamilyAliases(const std::string& devType);

// The check of an edited value: false with message ("Value must be an
// integer!", "Value must be an float!") when the type refuses the text.
// INT takes whole numbers from -32768 to 32767 ("1.5" is refused: the text
// itself is substituted); FLOAT any finite decimal number.
bool CheckParmValue(const std::string& type, const std::string& text, std::string& message);
// Every "%name%" replaced by the value, parameters in grid order.
std::string Substitute(const std::string& line, const std::vector<ScriptParm>& parms);

// What a run reports as it goes; every member may be empty.
struct ScriptRunHooks {
    // Text appended to Results (the window shows it at once).
    std::function<void(const std::string& appended)> results;
    // Called with the run's session before it opens (an I/O log, for one).
    std::function<void(io::VIF& session)> prepare;
};

struct ScriptRunResult {
    std::string results;  // the whole Results text
    bool errors = false;  // the run ended with "Script terminated with errors!"
    bool ran = false;     // false: nothing was sent (empty parameter, file
                          // unreadable, session that did not open)
};

// The first parameter whose value is empty after trimming; -1 when none is.
int FirstEmptyParm(const std::vector<ScriptParm>& parms);
// The box that stops a run before anything is sent: "Parameter <name> is empty!".
void ReportEmptyParm(const ScriptParm& parm);

// Runs a script file against resource. Messages go through the host port:
// an empty parameter (ReportEmptyParm, nothing
// sent), an unreadable file ("Script Error"), "Parse Error" and "Illegal
// Command" (the run goes on). Results collects the answers and errors; a
// session that does not open ends the run with its VISA failure in Results.
// The host's processEvents runs once after each line.
// timeoutMs: the session's time-out (20000 in the window).
ScriptRunResult RunScript(const std::string& file, const std::vector<ScriptParm>& parms, const std::string& resource,
                          const ScriptRunHooks& hooks = {}, int timeoutMs = 20000);

}  // namespace qv::automation

// The instrument tables from the command line: the peak list and the
// demodulation summary, read by the same logic as the program's windows.
#include "cli.h"

#include "app/standard.h"
#include "documents/rtf_gen.h"
#include "families/registry.h"
#include "instrument_directory/visa_scan.h"
#include "tables/peak_list.h"
#include "tables/result_report.h"

#include <stdlib.h>

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace qv::cli {

namespace {

namespace fs = std::filesystem;

// A folder of the command's own for the fetched list, gone with the object
// whatever was left in it.
class OwnFolder {
public:
    OwnFolder() {
        std::string pattern = app::TempPath() + "/quilvane-peaks-XXXXXX";
        if (::mkdtemp(pattern.data())) path_ = pattern;
    }
    ~OwnFolder() {
        std::error_code ec;
        if (!path_.empty()) fs::remove_all(path_, ec);
    }
    OwnFolder(const OwnFolder&) = delete;
    OwnFolder& operator=(const OwnFolder&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

bool writeWhole(const std::string& target, const std::string& bytes) {
    return app::ReplaceThroughPart(target, [&bytes](const std::string& part) {
        std::ofstream out(part, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), std::streamsize(bytes.size()));
        out.close();
        return !out.fail();
    });
}

// Standard output for no -o or "-", else the file, written whole or not at all.
int deliver(const Options& o, const std::string& bytes) {
    if (o.output.empty() || o.output == "-") {
        const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() && std::fflush(stdout) == 0;
        if (!ok) std::fprintf(stderr, "error: standard output could not be written\n");
        return ok ? 0 : 1;
    }
    if (!writeWhole(o.output, bytes)) {
        std::fprintf(stderr, "error: %s could not be written\n", o.output.c_str());
        return 1;
    }
    return 0;
}

bool endsWithRtf(const std::string& name) {
    std::string ext = fs::path(name).extension().string();
    for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    return ext == ".rtf";
}

// A report with no window: it keeps the last source it was given.
class SourceOnlyBox : public documents::RichTextBox {
public:
    void setFontName(const std::string&) override {}
    void clearText() override { source_.clear(); }
    void setRtf(const std::string& s) override { source_ = s; }
    const std::string& rtf() const override { return source_; }
    void scrollToEnd() override {}

private:
    std::string source_;
};

std::string reportFamilies() {
    std::string tags;
    for (const family::Family* f : family::all())
        if (f->demodulationReport) tags += (tags.empty() ? "" : ", ") + std::string(f->tag);
    return tags;
}

}  // namespace

int cmdPeaks(const Options& o) {
    const std::string& res = o.args[1];
    OwnFolder folder;
    if (folder.path().empty()) {
        std::fprintf(stderr, "error: no temporary folder could be made in %s\n", app::TempPath().c_str());
        return 1;
    }
    tables::TableGrid grid;
    switch (tables::ReadSelectedTable(res, tables::kMaxPeakList, "peaks", folder.path(), grid)) {
        case tables::TableRead::Read:
            return deliver(o, tables::ListToText(grid));
        case tables::TableRead::Broken:
            std::fprintf(stderr, "error: the peak list %s sent is not a peak list (three lines a peak)\n", res.c_str());
            return 1;
        case tables::TableRead::NoFile:
        case tables::TableRead::Unknown:
            break;
    }
    std::fprintf(stderr, "error: no peak list came from %s\n", res.c_str());
    return 1;
}

int cmdDemod(const Options& o) {
    const std::string& res = o.args[1];
    dir::VISAScan scan;
    const int16_t last = identify(o, scan);
    if (last < 0 || scan.DeviceTyp(last) == dir::kNoDevice || scan.DeviceTyp(last) == dir::kDeviceUnknown) {
        std::fprintf(stderr, "error: %s did not answer as an instrument this program knows; check the address\n",
                     res.c_str());
        return 1;
    }
    const std::string tag = scan.DeviceTyp(last);
    const tables::ResultSummary r = tables::ReadResultSummary(res, tag);
    switch (r.outcome) {
        case tables::ResultRead::Read:
            break;
        case tables::ResultRead::NotOpened:
            std::fprintf(stderr, "error: no session to %s could be opened\n", res.c_str());
            return 1;
        case tables::ResultRead::NoReport:
            std::fprintf(stderr, "error: the %s has no demodulation summary (families with one: %s)\n", tag.c_str(),
                         reportFamilies().c_str());
            return 1;
        case tables::ResultRead::OtherMode:
            std::fprintf(stderr, "error: the %s is in mode \"%s\", not DDEM; switch it with INST:SEL DDEM\n",
                         tag.c_str(), r.mode.c_str());
            return 1;
        case tables::ResultRead::FskForm:
            std::fprintf(stderr, "error: the demodulation form is FSK, which has no result summary\n");
            return 1;
        case tables::ResultRead::NoAnswer:
            std::fprintf(stderr, "error: the %s sent no result summary\n", tag.c_str());
            return 1;
    }
    const std::vector<std::string> lines = tables::ResultLines(r.answer);
    if (lines.empty()) {
        std::fprintf(stderr, "error: the result summary does not hold %d values\n", tables::kResultFieldCount);
        return 1;
    }
    if (!o.output.empty() && endsWithRtf(o.output)) {
        SourceOnlyBox box;
        std::string buffer;
        tables::FormatResultTable(r.answer, box, buffer);
        return deliver(o, box.rtf());
    }
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return deliver(o, text);
}

}  // namespace qv::cli

// A new instrument's files: on its start drive, real, the same every time,
// small, and never over a user's own.
#include <gtest/gtest.h>

#include <filesystem>

#include "sim/profiles.h"
#include "sim/seed_files.h"
#include "sim/simulator.h"
#include "sim/text.h"
#include "sim_harness.h"

using qvsimtest::Harness;
namespace fs = std::filesystem;

namespace {

std::vector<std::string> profilesWithDrives() {
    std::vector<std::string> tags;
    for (const auto& p : qv::sim::allProfiles())
        if (!p.drives.empty()) tags.push_back(p.tag);
    return tags;
}

uint32_t bigEndian32(const std::string& s, size_t at) {
    return uint32_t(uint8_t(s[at])) << 24 | uint32_t(uint8_t(s[at + 1])) << 16 | uint32_t(uint8_t(s[at + 2])) << 8 |
           uint32_t(uint8_t(s[at + 3]));
}

class Seeded : public ::testing::TestWithParam<std::string> {};

// Every planned item is there with its content, fetched through the
// instrument; pictures are PNGs of the instrument's screen; CSVs have a
// header and rows of numbers; the whole stays small.
TEST_P(Seeded, PlanIsOnTheInstrumentAndFetchable) {
    Harness h(GetParam());
    const qv::sim::Profile& p = h.inst->profile();
    const auto plan = qv::sim::seedPlan(p);
    ASSERT_GE(plan.size(), 4u);
    size_t total = 0, pictures = 0, folders = 0;
    for (const auto& item : plan) {
        std::string host;
        ASSERT_EQ(h.inst->sandboxLocked().hostPath(item.name, host), 0) << item.name;
        if (item.folder) {
            EXPECT_TRUE(fs::is_directory(host)) << item.name;
            ++folders;
            continue;
        }
        const std::string data(item.data.begin(), item.data.end());
        total += data.size();
        const std::string digits = std::to_string(data.size());
        EXPECT_EQ(h.send("MMEM:DATA? '" + item.name + "'\n"), "#" + std::to_string(digits.size()) + digits + data + "\n")
            << item.name;
        const std::string ext = qv::sim::upperText(fs::path(item.name).extension().string());
        if (ext == ".PNG") {
            ++pictures;
            ASSERT_GT(data.size(), 24u);
            EXPECT_EQ(data.substr(0, 8), "\x89PNG\r\n\x1a\n");
            EXPECT_EQ(bigEndian32(data, 16), uint32_t(p.screenWidth)) << item.name;
            EXPECT_EQ(bigEndian32(data, 20), uint32_t(p.screenHeight)) << item.name;
        } else if (ext == ".CSV") {
            size_t eol = data.find("\r\n");
            ASSERT_NE(eol, std::string::npos);
            std::string row = data.substr(eol + 2, data.find("\r\n", eol + 2) - eol - 2);
            EXPECT_EQ(row.find_first_not_of("0123456789.,-+e"), std::string::npos) << item.name << ": " << row;
            EXPECT_GT(std::count(data.begin(), data.end(), '\n'), 20) << item.name;
        } else {
            EXPECT_NE(data.find(p.options.empty() ? "Options=" : p.options), std::string::npos) << item.name;
        }
    }
    EXPECT_GE(pictures, 1u);
    EXPECT_GE(folders, 2u);
    EXPECT_LT(total, 200u * 1024) << "bytes seeded";
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
}

// The same files, dates included, for every start.
TEST_P(Seeded, SameContentEveryStart) {
    Harness a(GetParam()), b(GetParam());
    for (const auto& item : qv::sim::seedPlan(a.inst->profile())) {
        std::string pa, pb;
        ASSERT_EQ(a.inst->sandboxLocked().hostPath(item.name, pa), 0);
        ASSERT_EQ(b.inst->sandboxLocked().hostPath(item.name, pb), 0);
        EXPECT_EQ(fs::last_write_time(pa), fs::last_write_time(pb)) << item.name;
        if (!item.folder) {
            EXPECT_EQ(qvtest::readFile(pa), qvtest::readFile(pb)) << item.name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Families, Seeded, ::testing::ValuesIn(profilesWithDrives()),
                         [](const auto& info) { return info.param; });

struct StartFolder {
    const char* tag;
    const char* query;
    bool header;         // the answer starts with used and free
    const char* answer;  // after them; {name}: the size of that seeded file
};
std::ostream& operator<<(std::ostream& os, const StartFolder& s) { return os << s.tag; }
class SeededListing : public ::testing::TestWithParam<StartFolder> {};

// What a browser lists first, in the family's own form.
TEST_P(SeededListing, StartFolderInTheFamilysForm) {
    const auto& c = GetParam();
    Harness h(c.tag);
    std::string expected = c.answer;
    for (const auto& item : qv::sim::seedPlan(h.inst->profile())) {
        const std::string key = "{" + fs::path(item.name).filename().string() + "}";
        for (size_t at; (at = expected.find(key)) != std::string::npos;)
            expected.replace(at, key.size(), std::to_string(item.data.size()));
    }
    std::string a = h.send(std::string(c.query) + "\n");
    if (c.header) a.erase(0, a.find(',', a.find(',') + 1));
    EXPECT_EQ(a, expected + "\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
}

INSTANTIATE_TEST_SUITE_P(
    Families, SeededListing,
    ::testing::Values(
        StartFolder{"TKD", "MMEM:CAT:LONG? 'D:\\USER\\'", true,
                    R"(,".,DIR,0","..,DIR,0","LIMITS,DIR,0","screen.png,,{screen.png}","settings.txt,,{settings.txt}","trace1.csv,,{trace1.csv}")"},
        StartFolder{"KDC", "MMEM:MSIS 'C:\\';CDIR 'C:\\USER\\';CAT?", true,
                    ",LIMITS,<DIR>,,screen.png,,{screen.png},settings.txt,,{settings.txt},trace1.csv,,{trace1.csv}"},
        StartFolder{"BJY", "MMEM:MSIS INT;CDIR '\\USERDATA\\PRINT';SCAN?", false,
                    R"(3,D,"..",F,"SCREEN01.PNG","SCREEN02.PNG")"},
        StartFolder{"MYE", "MMEM:DCAT? '/INT/*'", false, R"(".,,0","..,,0","DATA,,0","REF,,0","SETUPS,,0")"},
        StartFolder{"GLN", "MMEM:CAT? '/var/user/'", true,
                    R"(,".,DIR,1024","..,DIR,1024","lists,DIR,0","settings.txt,,{settings.txt}","ucor1.csv,,{ucor1.csv}")"},
        // Dated when the instrument left the factory, a few minutes apart.
        StartFolder{"TKG", "MMEM:CDIR '/\\';CAT:DIR?", true,
                    ",Public,DIR,0,2026-03-02,09:35:51,RW,0,USER,DIR,0,2026-03-02,09:14:00,RW,0"}));

TEST(Seeding, UsersFilesAreNeverTouched) {
    qvtest::TempDir dir;
    fs::create_directories(dir.file("root/hdd"));
    qvtest::writeFile(dir.file("root/hdd/mine.txt"), "mine");
    qv::sim::InstrumentOptions o;
    o.root = dir.file("root");
    {
        Harness h("GLN", o);
        ASSERT_TRUE(h.inst);
    }
    // The drive that held a file keeps exactly that; the empty one is given
    // the instrument's files.
    std::vector<std::string> names;
    for (const auto& e : fs::recursive_directory_iterator(dir.file("root/hdd"))) names.push_back(e.path().filename().string());
    EXPECT_EQ(names, std::vector<std::string>{"mine.txt"});
    EXPECT_EQ(qvtest::readFile(dir.file("root/hdd/mine.txt")), "mine");
    EXPECT_TRUE(fs::exists(dir.file("root/var/user/settings.txt")));
    // A second start sees its own files and writes nothing again.
    const auto before = fs::last_write_time(dir.file("root/var/user"));
    qvtest::writeFile(dir.file("root/var/user/settings.txt"), "changed");
    {
        Harness h("GLN", o);
    }
    EXPECT_EQ(qvtest::readFile(dir.file("root/var/user/settings.txt")), "changed");
    EXPECT_EQ(fs::last_write_time(dir.file("root/var/user")), before);
}

// Put off, the files are there before the first message is carried out,
// whole; a simulator's start does not wait for them.
TEST(Seeding, PutOffUntilTheFirstMessage) {
    qv::sim::InstrumentOptions o;
    o.seedLater = true;
    Harness h("TKD", o);
    EXPECT_TRUE(fs::is_empty(h.inst->rootPath() + "/D"));
    EXPECT_NE(h.send("MMEM:CAT:LONG? 'D:\\USER\\'\n").find("\"trace1.csv,,"), std::string::npos);

    qv::sim::Simulator sim;
    qv::sim::SimulatorConfig cfg;
    for (const char* tag : {"TKD", "MYE"}) {
        qv::sim::InstrumentConfig c;
        c.profile = tag;
        cfg.instruments.push_back(c);
    }
    std::string why;
    ASSERT_TRUE(sim.start(cfg, why)) << why;
    std::string answer;
    qv::sim::Session session(*sim.instrument(1), qv::sim::Session::Mode::Immediate, [&](qv::sim::ResponseMessage& r) {
        answer += r.data.toString();
        return true;
    });
    const std::string query = "MMEM:CAT? '/INT/DATA/*.*'\n";
    session.feed(reinterpret_cast<const uint8_t*>(query.data()), query.size());
    EXPECT_NE(answer.find("\"SCREEN01.PNG,,"), std::string::npos) << answer;
    EXPECT_NE(answer.find("\"WFM02.CSV,,"), std::string::npos) << answer;
    sim.stop();
}

TEST(Seeding, CanBeTurnedOff) {
    qv::sim::InstrumentOptions o;
    o.seedFiles = false;
    Harness h("TKD", o);
    EXPECT_TRUE(fs::is_empty(h.inst->rootPath() + "/D"));
    Harness none("PWE");
    EXPECT_TRUE(qv::sim::seedPlan(none.inst->profile()).empty());
}

}  // namespace

// The family registry against the shipped data file and the simulator: every
// family the program can identify must resolve, be simulated, and be able to
// do what its FUNCTIONS mask promises.
#include "app/functions_mask.h"
#include "families/registry.h"
#include "instrument_directory/capabilities.h"
#include "instrument_directory/dev_ident.h"
#include "sim/profiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

using namespace qv;

namespace {

std::string shippedTables() { return std::string(QV_SOURCE_DIR) + "/data/VisaDevices.ini"; }

struct Shipped {
    std::vector<std::string> masters;
    std::vector<std::pair<std::string, std::string>> aliases;  // alias, master
};

Shipped loadShipped() {
    dir::LoadMasterList(shippedTables());
    const dir::IdentityTables& t = dir::identityTables();
    Shipped s;
    for (const std::string& m : t.masters)
        if (!m.empty()) s.masters.push_back(m);
    for (const dir::AliasElement& e : t.aliasTable)
        for (const std::string& a : e.aliases)
            if (!a.empty()) s.aliases.emplace_back(a, e.master);
    return s;
}

// The family a simulated model is identified as by the shipped tables.
std::string identifiedFamily(const sim::Profile& p) {
    dir::ResetRecords();
    if (dir::IdentifyAnswer(p.identity, 0, "", true) != dir::IdentOutcome::Matched) return "(no match)";
    return dir::deviceRecords()[0].DeviceTyp;
}

TEST(FamilyRegistry, MatchesTheMasterListOneToOneAndInOrder) {
    Shipped s = loadShipped();
    ASSERT_FALSE(s.masters.empty());
    std::vector<std::string> registered;
    for (const family::Family* f : family::all()) registered.emplace_back(f->tag);
    EXPECT_EQ(registered, s.masters);
    for (const std::string& tag : s.masters) EXPECT_NE(family::find(tag), nullptr) << tag;
    EXPECT_TRUE(family::attachProblems().empty()) << family::attachProblems().front();
}

TEST(FamilyRegistry, ReservedWordsAndNearMissesAreNoFamily) {
    for (const char* w : {"", "NoDevice", "DeviceUnknown", "---", "tkd", "TK", "TKDX", "TKD "})
        EXPECT_EQ(family::find(w), nullptr) << '"' << w << '"';
}

// Each family: simulated, identified as itself, described alike in the
// registry, the simulator and the editor's list of names.
TEST(FamilyRegistry, EveryFamilyIsSimulatedAndDescribedAlike) {
    Shipped s = loadShipped();
    std::vector<std::string> entries = dir::DeviceEntries(shippedTables());
    for (const std::string& tag : s.masters) {
        SCOPED_TRACE(tag);
        const family::Family* f = family::find(tag);
        ASSERT_NE(f, nullptr);
        const sim::Profile* p = sim::findProfile(tag);
        ASSERT_NE(p, nullptr) << "no simulator profile";
        EXPECT_EQ(identifiedFamily(*p), tag);
        EXPECT_EQ(p->kind, f->kind);
        std::string entry = tag + " " + std::string(f->kind);
        EXPECT_NE(std::find(entries.begin(), entries.end(), entry), entries.end()) << "no Devices entry " << entry;
    }
}

// An alias model passes for its family: the family is registered, and the
// simulator has the model, identified as that family.
TEST(FamilyRegistry, EveryAliasResolvesToARegisteredFamily) {
    Shipped s = loadShipped();
    ASSERT_FALSE(s.aliases.empty());
    for (const auto& [alias, master] : s.aliases) {
        SCOPED_TRACE(alias);
        EXPECT_NE(family::find(master), nullptr);
        EXPECT_EQ(family::find(alias), nullptr) << "an alias is no family of its own";
        const sim::Profile* p = sim::findProfile(alias);
        ASSERT_NE(p, nullptr) << "no simulator profile";
        EXPECT_EQ(identifiedFamily(*p), master);
        dir::ResetRecords();
        dir::IdentifyAnswer(p->identity, 0, "", true);
        EXPECT_EQ(dir::deviceRecords()[0].DeviceMappedName, alias);
    }
}

TEST(FamilyRegistry, EveryFunctionBitIsServed) {
    Shipped s = loadShipped();
    for (const std::string& tag : s.masters) {
        const int16_t mask = app::FunctionsMask(shippedTables(), tag);
        EXPECT_NE(mask, 0) << tag << " has no FUNCTIONS key";
        std::vector<std::string> missing = family::unservedFunctions(*family::find(tag), mask);
        std::string names;
        for (const std::string& m : missing) names += m + " ";
        EXPECT_TRUE(missing.empty()) << tag << " cannot serve: " << names;
    }
}

// The browser's drives exist on the simulated instrument, and it starts on
// one of them.
TEST(FamilyRegistry, DrivesExistOnTheSimulatedInstrument) {
    for (const family::Family* f : family::all()) {
        SCOPED_TRACE(std::string(f->tag));
        const sim::Profile* p = sim::findProfile(f->tag);
        ASSERT_NE(p, nullptr);
        for (std::string_view d : f->drives)
            EXPECT_NE(std::find(p->drives.begin(), p->drives.end(), d), p->drives.end()) << d;
        if (f->drives.empty()) EXPECT_TRUE(f->startDrive.empty());
        else EXPECT_NE(std::find(f->drives.begin(), f->drives.end(), f->startDrive), f->drives.end());
    }
}

// Attaching goes wrong in two ways a test must see: a misspelled tag and a
// second dialect in a taken slot. Run in a child, so that the real
// registry of this process stays untouched.
TEST(FamilyRegistryDeathTest, AttachRecordsMisspelledTagsAndDoubleDialects) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            // Only the address matters: a stand-in for a second trace dialect.
            static const char kStandIn = 0;
            const auto* kOther = reinterpret_cast<const trace::Dialect*>(&kStandIn);
            const trace::Dialect* before = family::find("TKD")->trace;
            family::attach(&family::Family::trace, kOther, {"TKX"});
            family::attach(&family::Family::trace, kOther, {"TKD"});
            const auto& p = family::attachProblems();
            bool ok = p.size() == 2 && p[0].find("\"TKX\"") != std::string::npos &&
                      p[1].find("TKD") != std::string::npos && family::find("TKD")->trace == before &&
                      before != nullptr &&
                      // A family with the trace bit and no reader is reported.
                      family::unservedFunctions(*family::find("GLN"), 2) == std::vector<std::string>{"trace"} &&
                      family::unservedFunctions(*family::find("TKD"), 2).empty();
            std::exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
